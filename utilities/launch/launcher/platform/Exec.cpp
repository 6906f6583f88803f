#include "platform/Exec.h"

#include <windows.h>

#include "platform/Diagnostics.h"
#include "platform/Owner.h"
#include "platform/SystemError.h"

namespace {

constexpr int kNotStarted = -1;
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
// directory. Nothing when that is longer than a path may be.
std::optional<std::string> ChooseProgram(const std::string& name) {
  std::optional<std::string> found = SearchProgram(name);
  if (!found || !found->empty()) {
    if (found) {
      DebugPrint("Found %s @ %s\n", name.c_str(), found->c_str());
    }
    return found;
  }
  DebugPrint("Couldn't find %s on the path, assuming in CWD\n", name.c_str());
  return name.size() < MAX_PATH ? std::optional<std::string>(name) : std::nullopt;
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
  // After a failed wait the child may still run; what stands for a running process is no exit code.
  if (WaitForSingleObject(process, INFINITE) != WAIT_FAILED) {
    GetExitCodeProcess(process, &exitCode);
  }
  return static_cast<int>(exitCode);
}

}  // namespace

std::optional<std::string> SearchProgram(const std::string& name) {
  char buffer[MAX_PATH];
  const DWORD length = SearchPathA(nullptr, name.c_str(), ".exe", sizeof buffer, buffer, nullptr);
  if (length >= sizeof buffer) {
    return std::nullopt;
  }
  return std::string(buffer, length);
}

int Exec(const std::vector<std::string>& args) {
  std::string commandLine = BuildCommandLine(args);  // which the system may write into
  DebugPrint("Exec: %s\n", commandLine.c_str());
  const std::optional<std::string> program = ChooseProgram(args.front());
  if (!program) {
    return FailStart(args.front(), ERROR_FILENAME_EXCED_RANGE);
  }
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION information = {};
  if (!CreateProcessA(program->c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                      nullptr, &startup, &information)) {
    return FailStart(args.front(), GetLastError());
  }
  const Handle thread(information.hThread);
  const Handle process(information.hProcess);
  return WaitForExitCode(process.Get());
}
