#pragma once
// The C runtime's write on a descriptor.

#include <cstdio>

// Writes everything and returns `size`; -1 with errno and the last error set. Waits where the
// stream would block.
int _write(int descriptor, const void* data, unsigned size);

inline int _fileno(std::FILE* stream) {
  return ::fileno(stream);
}
