#pragma once
// The launcher's diagnostic lines: standard output, and only while the process-wide debug flag is
// on. Each leaves at once.
//
// The flag is off at start and is switched on once, by the main thread, while the command line is
// read.

#include <string_view>

void EnableDebug();
bool IsDebugEnabled();

// Formatted as printf does.
__attribute__((format(printf, 1, 2))) void DebugPrint(const char* format, ...);

// Written as it stands: for lines that carry a path or a class name, in which a "%" means itself.
void DebugText(std::string_view text);
