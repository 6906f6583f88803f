// How a fuzz program says that what it found is wrong: it aborts, and libFuzzer keeps the input.
#pragma once

#include <stdint.h>
#include <stdlib.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

inline void Check(bool holds) {
  if (!holds) {
    abort();
  }
}
