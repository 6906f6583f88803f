// What every fuzz program has: libFuzzer hands its bytes to Try, and a check that does not hold
// aborts, so that libFuzzer keeps the input.
#pragma once
#include <stdint.h>
#include <stdlib.h>

#include <string>
#include <string_view>

void Try(std::string_view input);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Try({reinterpret_cast<const char*>(data), size});
  return 0;
}

inline void Check(bool holds) {
  if (!holds) abort();
}
