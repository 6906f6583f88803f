#pragma once
// Finds and loads the Java runtime's library: by the system's library search, else the tool's own
// runtime, else the public runtime, both named in the registry under HKEY_LOCAL_MACHINE. All it
// prints are diagnostics.

#include <optional>
#include <string>

#include <windows.h>

// At most 259 characters; nothing when no runtime is registered. A public runtime's path is not
// tested.
std::optional<std::string> FindJvmPath();

// The loaded library, which stays loaded until the process ends; null when there is none.
HMODULE LoadJvm();

// For a scope, the system shows no dialog about a library that cannot be loaded: the launcher then
// takes its next fallback.
class QuietErrors {
 public:
  QuietErrors() { SetThreadErrorMode(SEM_FAILCRITICALERRORS, &m_Former); }
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;
  ~QuietErrors() { SetThreadErrorMode(m_Former, nullptr); }

 private:
  DWORD m_Former = 0;
};

// For a scope, the system also looks for libraries in the `bin` of the runtime that `library`, a
// path, belongs to, in place of the current directory: a runtime asks for its own by their bare
// names. Not longer than needed, because child processes inherit it.
class RuntimeLibraries {
 public:
  explicit RuntimeLibraries(const std::string& library);
  RuntimeLibraries(const RuntimeLibraries&) = delete;
  RuntimeLibraries& operator=(const RuntimeLibraries&) = delete;
  ~RuntimeLibraries();

  // Loads those of `bin` that the runtime may ask for after the scope, where they are there.
  void LoadForLater() const;

 private:
  const QuietErrors m_Quiet;
  const std::string m_Bin;
};
