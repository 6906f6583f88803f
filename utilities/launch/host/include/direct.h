#pragma once
// The C runtime's names for the current directory, and for the table of environment variables
// (which Windows has in stdlib.h). Failures are reported through errno.

extern "C" char** environ;
inline char**& _environ = environ;

// The buffer is the caller's; null when the text and its NUL do not fit.
char* _getcwd(char* buffer, int size);
int _chdir(const char* path);

char* _fullpath(char* buffer, const char* path, unsigned long size);
