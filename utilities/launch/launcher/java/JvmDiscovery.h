#pragma once
// Finds and loads the JVM library: by the system's library search, else from Torvel's own runtime,
// else from the public runtime, both registered under HKEY_LOCAL_MACHINE. Prints only diagnostics.

#include <windows.h>

#include <optional>
#include <string>

// At most 259 characters; nullopt if no runtime is registered. A public runtime's path is not
// checked.
std::optional<std::string> FindJvmPath();

// Never unloaded. Null if no library could be loaded.
HMODULE LoadJvm();

// Suppresses system dialogs about libraries that cannot be loaded: the launcher has fallbacks.
class QuietErrors {
 public:
  QuietErrors() { SetThreadErrorMode(SEM_FAILCRITICALERRORS, &m_Former); }
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;
  ~QuietErrors() { SetThreadErrorMode(m_Former, nullptr); }

 private:
  DWORD m_Former = 0;
};

// Makes the library search use the `bin` directory of the runtime of `library` (a path) instead of
// the current directory, because a runtime loads its libraries by bare name. Keep the scope short:
// child processes inherit the setting.
class RuntimeLibraries {
 public:
  explicit RuntimeLibraries(const std::string& library);
  RuntimeLibraries(const RuntimeLibraries&) = delete;
  RuntimeLibraries& operator=(const RuntimeLibraries&) = delete;
  ~RuntimeLibraries();

  // Loads the libraries of `bin`, if present, that the runtime may request after the scope.
  void LoadForLater() const;

 private:
  const QuietErrors m_Quiet;
  const std::string m_Bin;
};
