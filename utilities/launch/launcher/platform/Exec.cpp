#include "platform/Exec.h"

#include <windows.h>

#include "platform/Diagnostics.h"
#include "platform/Owner.h"
#include "platform/SystemError.h"

namespace {

constexpr int kNotStarted = -1;
constexpr size_t kMaxFailureText = 1023;
constexpr size_t kLongestPath = 32767;  // Windows' limit

// Joins the arguments with blanks; an argument that contains a blank is quoted. Nothing is escaped.
std::string BuildCommandLine(const std::vector<std::string>& args) {
  std::string commandLine;
  for (const std::string& arg : args) {
    if (&arg != &args.front()) {
      commandLine += ' ';
    }
    const bool quoted = arg.find(' ') != std::string::npos;
    commandLine += quoted ? '"' + arg + '"' : arg;
  }
  return commandLine;
}

int FailStart(const std::string& program, DWORD code) {
  if (IsDebugEnabled()) {
    std::string message = "CreateProcess returned error code " + std::to_string(code);
    AppendSystemText(message, code, kMaxFailureText);
    DebugPrint("Error launching '%s': %s\n", program.c_str(), message.c_str());
  }
  return kNotStarted;
}

int WaitForExitCode(HANDLE process) {
  DWORD exitCode = static_cast<DWORD>(-1);
  // After a failed wait the child may still run, and GetExitCodeProcess would return STILL_ACTIVE.
  if (WaitForSingleObject(process, INFINITE) != WAIT_FAILED) {
    GetExitCodeProcess(process, &exitCode);
  }
  return static_cast<int>(exitCode);
}

}  // namespace

std::string SearchProgram(const std::string& name) {
  std::string path(kLongestPath, '\0');
  path.resize(SearchPathA(nullptr, name.c_str(), ".exe", static_cast<DWORD>(path.size()),
                          path.data(), nullptr));
  return path;
}

int Exec(const std::vector<std::string>& args, const std::string& found) {
  const std::string& name = args.front();
  const std::string& program = found.empty() ? name : found;
  std::string commandLine = BuildCommandLine(args);  // CreateProcess may write into it
  DebugPrint("Exec: %s\n", commandLine.c_str());
  if (found.empty()) {
    DebugPrint("Couldn't find %s on the path, assuming in CWD\n", name.c_str());
  }
  if (program.size() >= MAX_PATH) {
    return FailStart(name, ERROR_FILENAME_EXCED_RANGE);
  }
  if (!found.empty()) {
    DebugPrint("Found %s @ %s\n", name.c_str(), found.c_str());
  }
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION information = {};
  if (!CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                      nullptr, &startup, &information)) {
    return FailStart(name, GetLastError());
  }
  const Handle thread(information.hThread);
  const Handle process(information.hProcess);
  return WaitForExitCode(process.Get());
}
