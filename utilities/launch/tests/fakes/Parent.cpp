// A Windows process that starts others, so that the launcher has a parent to watch and its whole
// 32-bit exit code is seen. Reads one word and its argument per line from standard input and
// reports to standard output:
//   cwd DIRECTORY, env NAME=VALUE (the program has these alone), out FILE, err FILE,
//   hold FILE (open without sharing while the program runs): about the next `run` only
//   run COMMAND LINE: reports `started PID`, then `exit CODE` when it has ended
//   attach PID: reports `attached`, then `exit CODE`
// A call that fails ends it, with `failed WHAT CODE`.
#include <windows.h>

#include <iostream>
#include <memory>
#include <string>
#include <utility>

namespace {

using Handle = std::unique_ptr<void, decltype(&CloseHandle)>;

struct Request {
  std::string directory, environment, out, err, held;
};

Handle Checked(HANDLE handle, const char* what) {
  if (handle != nullptr && handle != INVALID_HANDLE_VALUE) return Handle(handle, CloseHandle);
  std::cout << "failed " << what << ' ' << GetLastError() << std::endl;
  std::exit(1);
}

Handle Open(const std::string& path, DWORD access, DWORD sharing, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return Checked(CreateFileA(path.c_str(), access, sharing, &inherited, disposition, 0, nullptr),
                 path.c_str());
}

void ReportExit(HANDLE process) {
  DWORD code = 0;
  WaitForSingleObject(process, INFINITE);
  GetExitCodeProcess(process, &code);
  std::cout << "exit " << code << std::endl;
}

void Run(Request request, std::string line) {
  const DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE;
  const Handle in = Open("NUL", GENERIC_READ, shared, OPEN_EXISTING);
  const Handle out = Open(request.out, GENERIC_WRITE, shared, CREATE_ALWAYS);
  const Handle err = Open(request.err, GENERIC_WRITE, shared, CREATE_ALWAYS);
  const std::string held = request.held.empty() ? "NUL" : request.held;
  const Handle file = Open(held, GENERIC_READ, 0, OPEN_EXISTING);

  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in.get();
  startup.hStdOutput = out.get();
  startup.hStdError = err.get();
  PROCESS_INFORMATION started{};
  request.environment += '\0';
  CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, request.environment.data(),
                 request.directory.c_str(), &startup, &started);
  const Handle process = Checked(started.hProcess, "run");
  CloseHandle(started.hThread);
  std::cout << "started " << started.dwProcessId << std::endl;
  ReportExit(process.get());
}

void Attach(DWORD id) {
  const DWORD access = SYNCHRONIZE | PROCESS_QUERY_INFORMATION;
  const Handle process = Checked(OpenProcess(access, FALSE, id), "attach");
  std::cout << "attached" << std::endl;
  ReportExit(process.get());
}

}  // namespace

int main() {
  Request next;
  for (std::string line; std::getline(std::cin, line);) {
    const std::string word = line.substr(0, line.find(' ')), rest = line.substr(word.size() + 1);
    if (word == "cwd") next.directory = rest;
    if (word == "env") next.environment += rest + '\0';
    if (word == "out") next.out = rest;
    if (word == "err") next.err = rest;
    if (word == "hold") next.held = rest;
    if (word == "run") Run(std::exchange(next, Request()), rest);
    if (word == "attach") Attach(static_cast<DWORD>(std::stoul(rest)));
  }
}
