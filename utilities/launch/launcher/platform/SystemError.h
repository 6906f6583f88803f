// The system's own words for an error code.
#pragma once

#include <string>

#include <windows.h>

// Appends ": " and the system's text for `code` to `message`, which ends up with at most `limit`
// characters. The text keeps its own line ending. Returns false, with `message` as it was, when the
// system has no text for the code.
bool AppendSystemText(std::string& message, DWORD code, size_t limit);
