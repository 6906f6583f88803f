#pragma once
// Rules for narrow texts, whatever they stand for. Nothing here throws. Any thread.

#include <string>
#include <vector>

// The text in lower case; only the letters A to Z change.
std::string ToLower(const std::string& text);

std::string ReplaceChar(const std::string& text, char from, char to);

// The pieces between the separators, empty ones included; at least one.
std::vector<std::string> Split(const std::string& text, char separator);

// "/" and "\" both separate the parts of a path.
bool IsSeparator(char character);

// 0 when the paths are equal, "\" and "/" being the same and letter case ignored; else -1 or 1 by
// their first difference.
int ComparePaths(const std::string& a, const std::string& b);

// The path with every "/" turned, as Win32's file calls take it.
std::string ToBackslashes(const std::string& path);

// What stands before the path's last separator; empty where it has none.
std::string DirectoryOf(const std::string& path);
