#pragma once
// The system's text for an error code.

#include <windows.h>

#include <string>

// Appends ": " and the system's text for `code`, line ending included, and cuts `message` to
// `limit` characters. Without a text for the code, `message` is unchanged.
void AppendSystemText(std::string& message, DWORD code, size_t limit);
