#include <windows.h>

#include <string>

std::string RawCommandLine() {
  return GetCommandLineA();
}
