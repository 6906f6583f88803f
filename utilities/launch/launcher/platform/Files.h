#pragma once
// Files, the current directory, environment variables.
//
// Paths are narrow texts with "/" or "\" between their parts. Relative ones are resolved against
// the current directory. Nothing here throws except the two copy operations. Main thread only.

#include <string>

// True when the file can be opened for reading; a directory counts as absent.
bool FileExists(const std::string& path);

// The file's first 64 KiB; empty when it cannot be read.
std::string ReadFileText(const std::string& path);

// Without a separator at its end, except at the top of a drive; empty when it cannot be read or has
// more than 259 characters.
std::string GetCurrentDir();

// Absolute; on the host every link is followed. The path itself where that has more than 259
// characters and, on the host, where there is no such file.
std::string FullPath(const std::string& path);

// A directory that cannot be entered leaves the current directory as it was.
void ChangeDir(const std::string& path);

// Empty when the variable is not set.
std::string GetEnv(const std::string& name);

// Copies over an existing destination. While another process holds the file (a sharing violation)
// it is tried up to `attempts` times in all, 100 ms apart. Throws LaunchFailure with the system's
// explanation.
void CopyFileWithRetry(const std::string& source, const std::string& destination, int attempts);

// Copies `source` onto `destination`, or under its own file name into it when `isDirectory`; a
// read-only target is made writable first. Always copies, never compares. Throws LaunchFailure.
void InstallFile(const std::string& source, const std::string& destination, bool isDirectory);
