#pragma once
// The system's own words for an error code.

#include <string>

#include <windows.h>

// Appends ": " and the system's text for `code` to `message`, which ends up with at most `limit`
// characters. The text keeps its own line ending. Where the system has no text for the code,
// `message` stays as it is.
void AppendSystemText(std::string& message, DWORD code, size_t limit);
