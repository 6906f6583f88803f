#include "platform/Exec.h"

#include <optional>

#include <windows.h>

#include "platform/Diagnostics.h"
#include "platform/SystemError.h"

namespace {

constexpr size_t kMaxFailureText = 1023;

// One command line of all texts, joined by blanks; a text that holds a blank is enclosed in double
// quotes. Nothing inside a text is escaped.
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

// The path to start: the found file, or the name itself, to be taken relative to the current
// directory. Empty when that is longer than a path may be; the last error then says so.
std::optional<std::string> FindProgram(const std::string& name) {
  char buffer[MAX_PATH];
  const DWORD length = SearchPathA(nullptr, name.c_str(), ".exe", sizeof buffer, buffer, nullptr);
  if (length >= sizeof buffer) {
    SetLastError(ERROR_FILENAME_EXCED_RANGE);
    return std::nullopt;
  }
  if (length != 0) {
    DebugPrint("Found %s @ %s\n", name.c_str(), buffer);
    return std::string(buffer);
  }
  DebugPrint("Couldn't find %s on the path, assuming in CWD\n", name.c_str());
  if (name.size() >= sizeof buffer) {
    SetLastError(ERROR_FILENAME_EXCED_RANGE);
    return std::nullopt;
  }
  return name;
}

void ReportFailedStart(const std::string& program, DWORD code) {
  if (!IsDebugEnabled()) {
    return;
  }
  std::string message = "CreateProcess returned error code " + std::to_string(code);
  AppendSystemText(message, code, kMaxFailureText);
  DebugPrint("Error launching '%s': %s\n", program.c_str(), message.c_str());
}

// The system may write into the command line.
bool StartChild(const std::string& program, std::string& commandLine,
                PROCESS_INFORMATION& process) {
  DebugFlush();
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  return CreateProcessA(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &process) != FALSE;
}

int WaitForExitCode(const PROCESS_INFORMATION& process) {
  DWORD exitCode = static_cast<DWORD>(-1);
  // After a failed wait the child may still run; what stands for a running process is no exit code.
  if (WaitForSingleObject(process.hProcess, INFINITE) != WAIT_FAILED) {
    GetExitCodeProcess(process.hProcess, &exitCode);
  }
  CloseHandle(process.hProcess);
  CloseHandle(process.hThread);
  return static_cast<int>(exitCode);
}

}  // namespace

int Exec(const std::vector<std::string>& args) {
  std::string commandLine = BuildCommandLine(args);
  DebugPrint("Exec: %s\n", commandLine.c_str());

  const std::optional<std::string> program = FindProgram(args.front());
  PROCESS_INFORMATION process = {};
  if (!program || !StartChild(*program, commandLine, process)) {
    ReportFailedStart(args.front(), GetLastError());
    return -1;
  }
  return WaitForExitCode(process);
}
