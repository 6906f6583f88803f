#include "platform/Assertion.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/Output.h"

void Assert(bool holds, const char* condition, const char* source) {
  if (holds) {
    return;
  }
  Write(stderr, std::string("Assertion failed: ") + condition + " (" + source + ")\n");
  abort();
}
