// A Windows process that starts another, so that the launcher has a parent to watch and its whole
// 32-bit exit code is seen.
//
//   parent REPORT --of REQUEST   runs a program in its own directory; the request's lines are files
//                                for its input, output ("|": a pipe that nobody reads, nothing:
//                                none) and errors, the command line, and the program's variables,
//                                NAME=VALUE each
//   parent REPORT PID            waits for a program that another parent started
//
// Lines are added to the report: the program's id; "watched" once somebody holds a handle of the
// parent; at the program's end "exit CODE". A call that fails ends it, with "failed CODE".
#include <windows.h>
#include <winternl.h>

#include <cstdlib>
#include <fstream>
#include <string>

static HANDLE Open(const std::string& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  const DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE;
  return CreateFileA(path.c_str(), access, shared, &inherited, disposition, 0, nullptr);
}

static HANDLE OpenOutput(const std::string& path) {
  if (path != "|") return path.empty() ? nullptr : Open(path, GENERIC_WRITE, CREATE_ALWAYS);
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  HANDLE reader = nullptr, writer = nullptr;
  CreatePipe(&reader, &writer, &inherited, 0);
  CloseHandle(reader);
  return writer;
}

static void Start(const char* request, PROCESS_INFORMATION& program) {
  std::ifstream lines(request, std::ios::binary);
  std::string in, out, err, command, environment;
  for (std::string* line : {&in, &out, &err, &command}) std::getline(lines, *line);
  for (std::string line; std::getline(lines, line);) environment += line + '\0';
  environment += '\0';
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = Open(in, GENERIC_READ, OPEN_EXISTING);
  startup.hStdOutput = OpenOutput(out);
  startup.hStdError = Open(err, GENERIC_WRITE, CREATE_ALWAYS);
  // Wine loses one program in thousands while it starts it, before any of its code.
  for (int attempt = 0; attempt < 3 && program.hProcess == nullptr; ++attempt)
    CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, environment.data(), nullptr,
                   &startup, &program);
}

static bool IsWatched() {
  PUBLIC_OBJECT_BASIC_INFORMATION own{};
  NtQueryObject(GetCurrentProcess(), ObjectBasicInformation, &own, sizeof own, nullptr);
  return own.HandleCount > 0;
}

int main(int, char** argv) {
  std::ofstream report(argv[1], std::ios::app);
  PROCESS_INFORMATION program{};
  if (argv[2] == std::string("--of")) {
    Start(argv[3], program);
  } else {
    const DWORD access = SYNCHRONIZE | PROCESS_QUERY_INFORMATION;
    program.dwProcessId = static_cast<DWORD>(std::atoi(argv[2]));
    program.hProcess = OpenProcess(access, FALSE, program.dwProcessId);
  }
  if (program.hProcess == nullptr) {
    report << "failed " << GetLastError() << std::endl;
    return 1;
  }
  report << program.dwProcessId << std::endl;
  DWORD code = 0;
  for (bool told = false;
       WaitForSingleObject(program.hProcess, told ? INFINITE : 10) == WAIT_TIMEOUT;) {
    told = IsWatched();
    if (told) report << "watched" << std::endl;
  }
  GetExitCodeProcess(program.hProcess, &code);
  report << "exit " << code << std::endl;
}
