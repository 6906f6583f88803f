#pragma once
// The error codes of Windows for what the host reports.

#include <string>

#include "windows.h"

namespace host {

// Win32's code for an errno value. For a missing file (ENOENT) see FileError.
DWORD ErrorFromErrno(int error);

// Windows tells a missing file (2) from a missing directory above it (3); the host has one ENOENT.
DWORD FileError(int error, const std::string& hostPath);

// Sets the last error and gives what the call returns then.
template <typename Result = BOOL>
Result Fail(DWORD code, Result failure = FALSE) {
  SetLastError(code);
  return failure;
}

}  // namespace host
