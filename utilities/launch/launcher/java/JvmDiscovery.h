// Finds and loads the Java runtime's library: by the system's library search, else the tool's own
// runtime, else the public runtime, both named in the registry under HKEY_LOCAL_MACHINE. All it
// prints are diagnostics.
#pragma once

#include <windows.h>

// A path's characters and its NUL.
using JvmPath = char[MAX_PATH];

// 0 with `path` filled, or -1 when no runtime is registered. A public runtime's path is not tested.
int FindJvmPath(JvmPath& path);

// The loaded library, which stays loaded until the process ends; null when there is none.
HMODULE LoadJvm();
