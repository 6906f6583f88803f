#include "platform/Diagnostics.h"

#include <cstdarg>
#include <cstdio>

#include "platform/Output.h"

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
  PrintArguments(format, arguments);
  va_end(arguments);
}

void DebugText(std::string_view text) {
  if (g_debug) {
    Write(stdout, text);
  }
}
