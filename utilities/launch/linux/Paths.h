#pragma once
// Linux paths for the paths of Windows.

#include <string>
#include <vector>

namespace linux {

// Replaces '\' by '/'.
std::string LinuxPath(const char* path);

// The text before the last '/', "/" for a path directly below the root, "." for a bare name.
std::string DirectoryOf(const std::string& linuxPath);

// Absolute, with symbolic links resolved; empty if there is no such file.
std::string ResolvedPath(const std::string& linuxPath);

// Opens a regular file for reading; -1 with errno set on failure. Waits while another process holds
// a write lease on it, as file servers do. Other files are refused unopened: a pipe would wait for
// a writer.
int OpenRegularFile(const std::string& linuxPath);

// Searches these directories, then PATH (the system's default if unset, as execvp does), each for
// the name with the extension before the bare name. Empty if not found.
std::string FindProgram(std::vector<std::string> directories, const std::string& name,
                        const std::string& extension);

}  // namespace linux
