#include "platform/Assertion.h"

#include <stdio.h>
#include <stdlib.h>

void Assert(bool holds, const char* condition, const char* source) {
  if (holds) {
    return;
  }
  fflush(stdout);
  fprintf(stderr, "Assertion failed: %s (%s)\n", condition, source);
  abort();
}
