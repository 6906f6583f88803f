#pragma once
// Paths as the host wants them, from paths as Windows allows them.

#include <string>
#include <vector>

namespace host {

// The path with '/' as its only separator.
std::string HostPath(const char* path);

// The text before the last '/', "/" for a path directly below the root, "." for a bare name.
std::string DirectoryOf(const std::string& hostPath);

// Absolute, every symbolic link followed; empty when there is no such file.
std::string ResolvedPath(const std::string& hostPath);

// A descriptor to read a regular file by; -1 with errno set where there is none. Anything else is
// refused and not waited for, as a pipe without a writer would have to be.
int OpenRegularFile(const std::string& hostPath);

// The path of a program in these directories, then in those of PATH (the system's own where it is
// unset, as for execvp), in each with the extension before the bare name. Empty when there is none.
std::string FindProgram(std::vector<std::string> directories, const std::string& name,
                        const std::string& extension);

}  // namespace host
