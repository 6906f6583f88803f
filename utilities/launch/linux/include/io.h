#pragma once
// Unbuffered writes of the C runtime. (Windows declares _fileno in stdio.h.)

#include <cstdio>

inline int _fileno(std::FILE* stream) {
  return ::fileno(stream);
}

// Writes everything, or returns -1 with errno and the last error set. Waits if the stream would
// block.
int _write(int descriptor, const void* data, unsigned size);
