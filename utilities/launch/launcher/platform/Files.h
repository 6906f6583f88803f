#pragma once
// Files, the current directory, environment variables.
//
// Paths are narrow strings with "/" or "\" as separators. Only the three copy functions throw
// LaunchFailure. Main thread only.

#include <string>

// True if the file can be opened for reading; false for a directory.
bool FileExists(const std::string& path);

// The file's first 64 KiB; empty when it cannot be read.
std::string ReadFileText(const std::string& path);

// No trailing separator, except at the root of a drive. Empty on failure or above 259 characters.
std::string GetCurrentDir();

// Absolute; on Linux with symbolic links resolved. `path` itself if the result exceeds 259
// characters or, on Linux, if there is no such file.
std::string FullPath(const std::string& path);

// On failure the current directory is unchanged.
void ChangeDir(const std::string& path);

// Empty when the variable is not set.
std::string GetEnv(const std::string& name);

// Overwrites the destination. Makes up to `attempts` attempts, 100 ms apart, while another process
// holds the file (a sharing violation). Throws LaunchFailure with the system's error text.
void CopyFileWithRetry(const std::string& source, const std::string& destination, int attempts);

// Copies `source` to `target`. Makes a read-only target writable first. Always copies. Throws
// LaunchFailure.
void InstallFile(const std::string& source, const std::string& target);

// The same, to a file in `directory` with the name of `source`: the text after its last "/".
void InstallFileInto(const std::string& source, const std::string& directory);
