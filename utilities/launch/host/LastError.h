#pragma once
// The error codes and texts of Windows for what the host reports.

#include "windows.h"

namespace host {

// Win32's code for an errno value. For a missing file (ENOENT) see MissingFileError.
DWORD ErrorFromErrno(int error);

// Windows Sockets' code for an errno value.
int SocketErrorFromErrno(int error);

// Windows tells a missing file (2) from a missing directory above it (3); the host has one ENOENT.
DWORD FileErrorFromErrno(int error, const char* hostPath);

// Windows' English text of a code that the layer can give, null for others.
const char* ErrorText(DWORD code);

// Sets the last error; false, for the edge of a BOOL call.
BOOL Fail(DWORD code);

}  // namespace host
