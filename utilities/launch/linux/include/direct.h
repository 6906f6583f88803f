#pragma once
// Directory functions of the C runtime, and two names that Windows declares in stdlib.h: _environ
// and _fullpath. Failures set errno.

#include <cstddef>

extern "C" char** environ;
inline char**& _environ = environ;

// Fills the caller's buffer; null if it is too small.
char* _getcwd(char* buffer, int size);
int _chdir(const char* path);

// Absolute, with symbolic links resolved; also null if there is no such file.
char* _fullpath(char* buffer, const char* path, std::size_t size);
