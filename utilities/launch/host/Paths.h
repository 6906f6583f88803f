#pragma once
// Paths as the host wants them, from paths as Windows allows them.

#include <string>

namespace host {

// The path with '/' as its only separator.
std::string HostPath(const char* path);

// The text before the last '/', "/" for a path directly below the root, "." for a bare name.
std::string DirectoryOf(const std::string& hostPath);

// Absolute, every symbolic link followed; empty when there is no such file.
std::string ResolvedPath(const std::string& hostPath);

// The path of a program in the directories of PATH; empty when there is none.
std::string FindOnPath(const std::string& name);

}  // namespace host
