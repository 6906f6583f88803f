#pragma once
// What the launcher itself says, on either standard stream.
//
// Each text leaves at once and in one write, whole and in order with what a child or the Java
// program prints: a run that hangs, crashes or is killed has said all it had to say. A stream that
// would block is waited for. Text that cannot be written (a full disk) is lost and the run goes on;
// standard error is told once, with the system's explanation, unless it was only the reader that
// went away. Any thread.

#include <cstdarg>
#include <cstdio>
#include <string>
#include <string_view>

// `stream` is stdout or stderr.
void Write(FILE* stream, std::string_view text);

// To standard output, formatted as printf does.
__attribute__((format(printf, 1, 2))) void Print(const char* format, ...);
void PrintArguments(const char* format, va_list arguments);
