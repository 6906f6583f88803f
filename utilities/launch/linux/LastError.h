#pragma once
// Windows error codes for errno values.

#include <string>

#include "windows.h"

namespace linux {

// For a missing file (ENOENT) see FileError.
DWORD ErrorFromErrno(int error);

// Splits ENOENT as Windows does: 2 for a missing file, 3 for a missing directory above it.
DWORD FileError(int error, const std::string& linuxPath);

// Sets the last error and returns `failure`.
template <typename Result = BOOL>
Result Fail(DWORD code, Result failure = FALSE) {
  SetLastError(code);
  return failure;
}

}  // namespace linux
