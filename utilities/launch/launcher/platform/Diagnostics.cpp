#include "platform/Diagnostics.h"

#include <stdarg.h>
#include <stdio.h>

namespace {
bool g_debug = false;
}

void EnableDebug() {
  g_debug = true;
}

bool IsDebugEnabled() {
  return g_debug;
}

void DebugPrint(const char* format, ...) {
  if (!g_debug) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
}

void DebugText(const std::string& text) {
  if (g_debug) {
    fwrite(text.data(), 1, text.size(), stdout);
  }
}

void DebugFlush() {
  if (g_debug) {
    fflush(stdout);
  }
}
