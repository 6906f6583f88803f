#pragma once
// Functions for narrow strings, without state. Any thread.

#include <string>
#include <vector>

// Changes only the letters A to Z.
std::string ToLower(const std::string& text);

std::string ReplaceChar(const std::string& text, char from, char to);

// Includes empty pieces; at least one.
std::vector<std::string> Split(const std::string& text, char separator);

// "/" or "\".
bool IsSeparator(char character);

// 0 if the paths are equal, ignoring letter case and the kind of separator; else -1 or 1.
int ComparePaths(const std::string& a, const std::string& b);

// Replaces "/" by "\", for Win32 file functions.
std::string ToBackslashes(const std::string& path);

// The part before the last separator; empty if there is none.
std::string DirectoryOf(const std::string& path);
