// A Windows process that starts others, so that the launcher has a parent to watch and its whole
// 32-bit exit code is seen. Reads one word and its argument per line from standard input and
// reports to standard output:
//   cwd DIRECTORY, env NAME=VALUE (the program has these alone), out FILE, err FILE (`-`: this
//   process's own standard error), hold FILE (open without sharing while the program runs),
//   suspended: about the next `run` only run COMMAND LINE       reports `started PID TID`, then,
//   unless suspended, `exit CODE` when it has ended attach PID TID         reports `attached`,
//   resumes the thread when TID is not 0, then reports `exit CODE` kill PID
// A failed call is reported as `failed WHAT CODE`.
#include <windows.h>

#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

struct CloseFile {
  void operator()(void* handle) const {
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  }
};
using Handle = std::unique_ptr<void, CloseFile>;

struct Request {
  std::string directory, environment, out, err;
  std::vector<Handle> held;
  bool suspended = false;
};

bool Usable(const Handle& handle, const char* what) {
  if (handle && handle.get() != INVALID_HANDLE_VALUE) return true;
  std::cout << "failed " << what << ' ' << GetLastError() << std::endl;
  return false;
}

Handle OpenStream(const std::string& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE handle = INVALID_HANDLE_VALUE;
  if (path == "-")
    DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_ERROR_HANDLE), GetCurrentProcess(),
                    &handle, 0, TRUE, DUPLICATE_SAME_ACCESS);
  else
    handle = CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                         disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  return Handle(handle);
}

void ReportExit(HANDLE process) {
  DWORD code = 0;
  WaitForSingleObject(process, INFINITE);
  GetExitCodeProcess(process, &code);
  std::cout << "exit " << code << std::endl;
}

void Run(Request request, std::string line) {
  const Handle in = OpenStream("NUL", GENERIC_READ, OPEN_EXISTING);
  const Handle out = OpenStream(request.out, GENERIC_WRITE, CREATE_ALWAYS);
  const Handle err = OpenStream(request.err, GENERIC_WRITE, CREATE_ALWAYS);
  if (!Usable(in, "in") || !Usable(out, "out") || !Usable(err, "err")) return;
  for (const Handle& file : request.held)
    if (!Usable(file, "hold")) return;

  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in.get();
  startup.hStdOutput = out.get();
  startup.hStdError = err.get();
  PROCESS_INFORMATION started{};
  request.environment += '\0';
  const bool created = CreateProcessA(
      nullptr, line.data(), nullptr, nullptr, TRUE, request.suspended ? CREATE_SUSPENDED : 0,
      request.environment.data(), request.directory.c_str(), &startup, &started);
  const Handle process(started.hProcess);
  const Handle thread(started.hThread);
  if (!created) {
    Usable(nullptr, "run");
    return;
  }
  std::cout << "started " << started.dwProcessId << ' ' << started.dwThreadId << std::endl;
  if (!request.suspended) ReportExit(process.get());
}

void Attach(DWORD processId, DWORD threadId) {
  const Handle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, processId));
  const Handle thread(threadId == 0 ? nullptr : OpenThread(THREAD_SUSPEND_RESUME, FALSE, threadId));
  if (!Usable(process, "attach") || (threadId != 0 && !Usable(thread, "resume"))) return;
  std::cout << "attached" << std::endl;
  if (thread) ResumeThread(thread.get());
  ReportExit(process.get());
}

}  // namespace

int main() {
  Request next;
  for (std::string line; std::getline(std::cin, line);) {
    const std::string word = line.substr(0, line.find(' '));
    const std::string rest = line.size() > word.size() ? line.substr(word.size() + 1) : "";
    DWORD processId = 0, threadId = 0;
    std::istringstream(rest) >> processId >> threadId;
    if (word == "cwd") next.directory = rest;
    if (word == "env") next.environment += rest + '\0';
    if (word == "out") next.out = rest;
    if (word == "err") next.err = rest;
    if (word == "hold")
      next.held.emplace_back(
          CreateFileA(rest.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    if (word == "suspended") next.suspended = true;
    if (word == "run") Run(std::exchange(next, Request()), rest);
    if (word == "attach") Attach(processId, threadId);
    if (word == "kill") {
      const Handle process(OpenProcess(PROCESS_TERMINATE, FALSE, processId));
      if (Usable(process, "kill")) TerminateProcess(process.get(), 9);
    }
  }
}
