#pragma once
// The C runtime's writing without a buffer (Windows has _fileno in stdio.h).

#include <cstdio>

inline int _fileno(std::FILE* stream) {
  return ::fileno(stream);
}

// Everything or -1, with errno and the last error. Waits where the stream would block.
int _write(int descriptor, const void* data, unsigned size);
