#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <string>
#include <vector>

#include "CommandLineText.h"
#include "Handles.h"
#include "LastError.h"
#include "Paths.h"
#include "direct.h"
#include "tlhelp32.h"

namespace {

// A system call: glibc 2.36 declares pidfd_open without extern "C".
linux::Descriptor OpenPidfd(pid_t id) {
  return linux::Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, id, 0)));
}

// posix_spawn, not fork: it reports a program that cannot be run. The child inherits only the
// standard streams. Returns an errno value.
int Spawn(pid_t& id, const std::string& program, std::vector<std::string>& arguments) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  const int error =
      ::posix_spawn(&id, program.c_str(), &actions, nullptr, pointers.data(), _environ);
  ::posix_spawn_file_actions_destroy(&actions);
  return error;
}

// Older kernels and some sandboxes have no pidfd, or cannot wait for one. Then a thread waits for
// the child, and the owner of the thread's pipe (F_SETOWN) is the child's id.
linux::Descriptor OpenChild(pid_t id) {
  siginfo_t info{};
  linux::Descriptor process = OpenPidfd(id);
  if (process && ::waitid(P_PIDFD, static_cast<id_t>(process.Get()), &info,
                          WEXITED | WNOHANG | WNOWAIT) == 0) {
    return process;
  }
  linux::Descriptor child = linux::RunThread([id] {
    siginfo_t ended{};
    while (::waitid(P_PID, static_cast<id_t>(id), &ended, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
  });
  if (child) {
    ::fcntl(child.Get(), F_SETOWN, id);
  }
  return child;
}

}  // namespace

// Differs from Windows:
// - Flags are refused with 87. Only the standard streams are inherited, whatever inheritHandles is.
// - The command line is split here, by the Microsoft C runtime's rules. Only the kernel limits its
//   length.
// - For a program named java, the class path is converted to POSIX form.
// - The thread handle refers to the process.
BOOL CreateProcessA(LPCSTR application, LPSTR commandLine, LPSECURITY_ATTRIBUTES,
                    LPSECURITY_ATTRIBUTES, BOOL /*inheritHandles*/, DWORD flags, std::nullptr_t,
                    std::nullptr_t, STARTUPINFOA* /*startup*/, PROCESS_INFORMATION* information) {
  if (flags != 0) {
    return linux::Fail(ERROR_INVALID_PARAMETER);
  }
  const std::string program = linux::LinuxPath(application);
  std::vector<std::string> arguments = linux::SplitCommandLine(commandLine);
  const std::string name = program.substr(program.rfind('/') + 1);
  if (name == "java" || name == "java.exe") {
    for (std::size_t i = 1; i < arguments.size() && arguments[i][0] == '-'; ++i) {
      linux::AdaptJavaOption(arguments[i]);
    }
  }
  // An inherited SIG_IGN would discard the child's exit code.
  ::signal(SIGCHLD, SIG_DFL);
  pid_t id = 0;
  if (const int error = Spawn(id, program, arguments)) {
    return linux::Fail(linux::FileError(error, program));
  }
  linux::Descriptor child = OpenChild(id);
  linux::Descriptor thread(child ? ::fcntl(child.Get(), F_DUPFD_CLOEXEC, 0) : -1);
  if (!thread) {
    const DWORD error = linux::ErrorFromErrno(errno);
    ::kill(id, SIGKILL);
    ::waitpid(id, nullptr, 0);
    return linux::Fail(error);
  }
  *information = {linux::HandleOf(std::move(child)), linux::HandleOf(std::move(thread)),
                  static_cast<DWORD>(id)};
  return TRUE;
}

// Differs from Windows:
// - The handle has all rights, whatever is requested, and is not inherited.
// - Fails with 50 before Linux 5.3.
HANDLE OpenProcess(DWORD /*access*/, BOOL /*inheritHandle*/, DWORD processId) {
  linux::Descriptor process = OpenPidfd(static_cast<pid_t>(processId));
  if (!process) {
    // A thread id is not a process: kernels report it as ENOENT or EINVAL.
    const int error = errno == ENOENT ? EINVAL : errno;
    return linux::Fail(linux::ErrorFromErrno(error), HANDLE{});
  }
  return linux::HandleOf(std::move(process));
}

// Differs from Windows:
// - Exit codes have 8 bits. 128 + N for a child that signal N ended.
// - Fails with 50 for a process that is not a child.
BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode) {
  const int descriptor = linux::DescriptorOf(process);
  const int id = ::fcntl(descriptor, F_GETOWN);  // see OpenChild
  siginfo_t info{};
  if (::waitid(id > 0 ? P_PID : P_PIDFD, static_cast<id_t>(id > 0 ? id : descriptor), &info,
               WEXITED | WNOHANG | WNOWAIT) != 0) {
    return linux::Fail(linux::ErrorFromErrno(errno));
  }
  const auto status = static_cast<DWORD>(info.si_status);
  *exitCode = info.si_pid == 0 ? STILL_ACTIVE : status + (info.si_code == CLD_EXITED ? 0 : 128);
  return TRUE;
}

// Differs from Windows:
// - The handle is only for TerminateProcess: it cannot be waited for or closed.
HANDLE GetCurrentProcess() {
  return INVALID_HANDLE_VALUE;  // as on Windows
}

DWORD GetCurrentProcessId() {
  return static_cast<DWORD>(::getpid());
}

// Differs from Windows:
// - Always reports the last Windows 10, whose behaviour this layer follows.
BOOL GetVersionExA(OSVERSIONINFOA* information) {
  *information = {sizeof *information, 10, 0, 19045};
  return TRUE;
}

// Differs from Windows:
// - Only the calling process; others are refused with 50.
BOOL TerminateProcess(HANDLE process, unsigned exitCode) {
  if (process != GetCurrentProcess()) {
    return linux::Fail(ERROR_NOT_SUPPORTED);
  }
  ::_exit(static_cast<int>(exitCode));
}

// Differs from Windows:
// - A snapshot contains only the calling process: the launcher looks only for its own parent.
// - The parent of an orphan is the process that adopted it; a parent outside the PID namespace is
//   0.
HANDLE CreateToolhelp32Snapshot(DWORD /*flags*/, DWORD /*processId*/) {
  linux::Descriptor snapshot(::eventfd(0, EFD_CLOEXEC));  // a placeholder for CloseHandle
  return snapshot ? linux::HandleOf(std::move(snapshot))
                  : linux::Fail(linux::ErrorFromErrno(errno), INVALID_HANDLE_VALUE);
}

// Differs from Windows:
// - Neither the snapshot nor dwSize is checked.
BOOL Process32First(HANDLE /*snapshot*/, PROCESSENTRY32* entry) {
  *entry = {sizeof *entry, GetCurrentProcessId(), static_cast<DWORD>(::getppid())};
  return TRUE;
}

BOOL Process32Next(HANDLE /*snapshot*/, PROCESSENTRY32* /*entry*/) {
  return linux::Fail(ERROR_NO_MORE_FILES);
}
