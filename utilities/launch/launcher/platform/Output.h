#pragma once
// Writes the launcher's texts to the standard streams.
//
// Each text is one unbuffered write: it stays whole and in order with the output of a child or the
// Java program, and is not lost when the process hangs, crashes or is killed. Waits for a stream
// that would block. If text cannot be written (a full disk), the run goes on without it. The first
// such failure of standard output, other than a closed pipe, is reported on standard error with the
// system's error text. Any thread.

#include <cstdarg>
#include <cstdio>
#include <string>
#include <string_view>

// `stream` is stdout or stderr.
void Write(FILE* stream, std::string_view text);

// To standard output, formatted as printf does.
[[gnu::format(printf, 1, 2)]] void Print(const char* format, ...);
void PrintArguments(const char* format, va_list arguments);
