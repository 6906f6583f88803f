#pragma once
// The C runtime's names for directories, and for two things that Windows has in stdlib.h: the table
// of environment variables and the full path. Failures are reported through errno.

#include <cstddef>

extern "C" char** environ;
inline char**& _environ = environ;

// The buffer is the caller's; null when the text and its NUL do not fit.
char* _getcwd(char* buffer, int size);
int _chdir(const char* path);

// Absolute, with every link followed; null too when there is no such file.
char* _fullpath(char* buffer, const char* path, std::size_t size);
