#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "CommandLineText.h"
#include "Handles.h"
#include "JavaRuntime.h"
#include "LastError.h"
#include "Owner.h"
#include "Paths.h"
#include "direct.h"

namespace {

constexpr DWORD kProcessRights = SYNCHRONIZE | PROCESS_QUERY_INFORMATION;

class ProcessObject : public host::Object {
 public:
  ProcessObject(host::Descriptor process, DWORD rights, bool isToReap)
      : m_Process(std::move(process)), m_Rights(rights), m_IsToReap(isToReap) {}
  // A child that outlives its handles stays for the system to clear away at our own end.
  ~ProcessObject() override {
    siginfo_t info{};
    if (m_IsToReap) {
      ::waitid(P_PIDFD, Id(), &info, WEXITED | WNOHANG);
    }
  }

  int WaitDescriptor() const override { return m_Process.Get(); }
  bool MayWait() const override { return (m_Rights & SYNCHRONIZE) != 0; }
  bool MayQuery() const { return (m_Rights & PROCESS_QUERY_INFORMATION) != 0; }

  // Returns an error code. The child is left to be asked again.
  DWORD ExitCode(DWORD& code) const {
    siginfo_t info{};
    if (::waitid(P_PIDFD, Id(), &info, WEXITED | WNOHANG | WNOWAIT) == 0) {
      code = info.si_pid == 0             ? STILL_ACTIVE
             : info.si_code == CLD_EXITED ? static_cast<DWORD>(info.si_status)
                                          : 128 + static_cast<DWORD>(info.si_status);
      return ERROR_SUCCESS;
    }
    pollfd ended{m_Process.Get(), POLLIN, 0};
    if (::poll(&ended, 1, 0) == 0) {
      code = STILL_ACTIVE;
      return ERROR_SUCCESS;
    }
    return ERROR_NOT_SUPPORTED;
  }

 private:
  id_t Id() const { return static_cast<id_t>(m_Process.Get()); }

  host::Descriptor m_Process;
  DWORD m_Rights;
  bool m_IsToReap;
};

// By number: the C library declares its own wrapper in a way that C++ cannot link.
int OpenPidfd(pid_t id) {
  return static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
}

// The child has the standard streams and nothing else of ours, and no signal blocked.
class SpawnSettings {
 public:
  SpawnSettings() {
    sigset_t none;
    ::sigemptyset(&none);
    ::posix_spawn_file_actions_init(&m_Actions);
    ::posix_spawn_file_actions_addclosefrom_np(&m_Actions, STDERR_FILENO + 1);
    ::posix_spawnattr_init(&m_Attributes);
    ::posix_spawnattr_setsigmask(&m_Attributes, &none);
    ::posix_spawnattr_setflags(&m_Attributes, POSIX_SPAWN_SETSIGMASK);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    ::posix_spawnattr_destroy(&m_Attributes);
    ::posix_spawn_file_actions_destroy(&m_Actions);
  }

  // posix_spawn, not fork: it reports a program that cannot be run. Returns errno's value.
  int Spawn(pid_t& id, const std::string& program, std::vector<std::string>& arguments) const {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return ::posix_spawn(&id, program.c_str(), &m_Actions, &m_Attributes, pointers.data(),
                         _environ);
  }

 private:
  posix_spawn_file_actions_t m_Actions{};
  posix_spawnattr_t m_Attributes{};
};

// An ignored SIGCHLD, which a parent can hand down, would lose every exit code.
void KeepExitCodes() {
  struct sigaction action {};
  if (::sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
    ::signal(SIGCHLD, SIG_DFL);
  }
}

// Gives the new child its two handles, or ends it. Returns an error code.
DWORD AdoptChild(pid_t id, PROCESS_INFORMATION& information) {
  host::Descriptor descriptor(OpenPidfd(id));
  DWORD error = descriptor ? ERROR_TOO_MANY_OPEN_FILES : host::ErrorFromErrno(errno);
  if (descriptor) {
    auto object = std::make_shared<ProcessObject>(std::move(descriptor), kProcessRights, true);
    const HANDLE process = host::AddHandle(object);
    const HANDLE thread = host::AddHandle(std::move(object));
    if (thread != nullptr) {
      const auto number = static_cast<DWORD>(id);
      information = PROCESS_INFORMATION{process, thread, number, number};
      return ERROR_SUCCESS;
    }
    CloseHandle(process);
  }
  ::kill(id, SIGKILL);
  ::waitpid(id, nullptr, 0);
  return error;
}

bool IsJava(const std::string& program) {
  const std::string name = host::FileNameOf(program);
  return name == "java" || name == "java.exe";
}

}  // namespace

// Differs from Windows:
// - The application must be named. No attributes, inherited handles, flags, environment, directory
//   or start-up flags: refused with 87.
// - The command line is split here, by the Microsoft C runtime's rules, and its length is limited
//   by the system's own bound alone.
// - A program named java gets its class path and options as a POSIX Java wants them.
// - The thread handle stands for the process: its first thread ends with it.
BOOL CreateProcessA(LPCSTR application, LPSTR commandLine, LPSECURITY_ATTRIBUTES process,
                    LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags,
                    LPVOID environment, LPCSTR directory, STARTUPINFOA* startup,
                    PROCESS_INFORMATION* information) {
  if (application == nullptr || process != nullptr || thread != nullptr ||
      inheritHandles != FALSE || flags != 0 || environment != nullptr || directory != nullptr ||
      startup == nullptr || startup->dwFlags != 0 || information == nullptr) {
    return host::Fail(ERROR_INVALID_PARAMETER);
  }
  const std::string program = host::HostPath(application);
  std::vector<std::string> arguments{application};
  if (commandLine != nullptr && *commandLine != '\0') {
    arguments = host::SplitCommandLine(commandLine);
  }
  if (IsJava(program)) {
    host::AdaptJavaArguments(arguments, host::JavaVersionOf(program));
  }
  KeepExitCodes();
  pid_t id = 0;
  const int failure = SpawnSettings().Spawn(id, program, arguments);
  const DWORD error = failure != 0 ? host::FileErrorFromErrno(failure, program.c_str())
                                   : AdoptChild(id, *information);
  return error == ERROR_SUCCESS ? TRUE : host::Fail(error);
}

// Differs from Windows:
// - Only the rights to wait and to query; others are refused with 5, inheritance with 87.
HANDLE OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId) {
  if (inheritHandle != FALSE || processId == 0) {
    host::Fail(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  if (access == 0 || (access & ~kProcessRights) != 0) {
    host::Fail(ERROR_ACCESS_DENIED);
    return nullptr;
  }
  host::Descriptor process(OpenPidfd(static_cast<pid_t>(processId)));
  if (!process) {
    // The id of a thread is no process either; kernels report it in two ways.
    host::Fail(errno == ENOENT ? ERROR_INVALID_PARAMETER : host::ErrorFromErrno(errno));
    return nullptr;
  }
  const HANDLE handle =
      host::AddHandle(std::make_shared<ProcessObject>(std::move(process), access, false));
  if (handle == nullptr) {
    host::Fail(ERROR_TOO_MANY_OPEN_FILES);
  }
  return handle;
}

// Differs from Windows:
// - Exit codes have 8 bits. A child that signal N ended has 128 + N.
// - The exit code of a process that is not our child, once it ended, is refused with 50.
BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode) {
  const auto object = host::FindObject<ProcessObject>(process);
  if (object == nullptr) {
    return host::Fail(ERROR_INVALID_HANDLE);
  }
  if (exitCode == nullptr) {
    return host::Fail(ERROR_INVALID_PARAMETER);
  }
  if (!object->MayQuery()) {
    return host::Fail(ERROR_ACCESS_DENIED);
  }
  const DWORD error = object->ExitCode(*exitCode);
  return error == ERROR_SUCCESS ? TRUE : host::Fail(error);
}

DWORD GetCurrentProcessId() {
  return static_cast<DWORD>(::getpid());
}
