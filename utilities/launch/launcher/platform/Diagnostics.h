// The launcher's diagnostic lines: standard output, and only while the process-wide debug flag is
// on.
//
// The flag is off at start and is switched on once, by the main thread, while the command line is
// read.
#pragma once

#include <string>

void EnableDebug();
bool IsDebugEnabled();

// Formatted as printf does.
__attribute__((format(printf, 1, 2))) void DebugPrint(const char* format, ...);

// Written as it stands: for lines that carry a path or a class name, in which a "%" means itself.
void DebugText(const std::string& text);

// Lets what the launcher has printed so far come before what a child or the Java program prints.
void DebugFlush();
