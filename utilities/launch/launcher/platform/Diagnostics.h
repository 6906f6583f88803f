#pragma once
// Diagnostic lines: printed unbuffered to standard output, and only with --debug. The main thread
// sets the flag while it reads the command line.

#include <string_view>

void EnableDebug();
bool IsDebugEnabled();

// Formatted as printf does.
[[gnu::format(printf, 1, 2)]] void DebugPrint(const char* format, ...);

// Unformatted: for lines with a path or a class name, which may contain "%".
void DebugText(std::string_view text);
