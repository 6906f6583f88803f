#include "Handles.h"

#include <poll.h>

#include <chrono>
#include <system_error>
#include <thread>

#include "LastError.h"

namespace {

// Before anything else of the program opens a file: what took the place of a closed standard stream
// would be read and written as that stream, here, in a child and in a Java runtime.
[[gnu::constructor]] void FillStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) < 0) {
      ::open("/dev/null", O_RDWR);  // takes the lowest free place
    }
  }
}

// Thrown by ExitThread, through the thread's functions to its first one here. pthread_exit would
// not do: it unwinds with the system's runtime, which cannot pass frames made for the one linked
// in.
struct ThreadExit {};

}  // namespace

namespace host {

Descriptor RunThread(std::function<void()> body) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    return Descriptor();
  }
  Descriptor result(ends[0]);
  try {
    std::thread([body = std::move(body), running = Descriptor(ends[1])] { body(); }).detach();
  } catch (const std::system_error& failure) {
    errno = failure.code().value();
    return Descriptor();
  }
  return result;
}

}  // namespace host

BOOL CloseHandle(HANDLE handle) {
  return ::close(host::DescriptorOf(handle)) == 0 ? TRUE : host::Fail(ERROR_INVALID_HANDLE);
}

// Differs from Windows:
// - A handle closed by another thread during the wait ends nothing: the wait goes on.
// - A wait that a signal interrupts begins anew.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  static_assert(static_cast<int>(INFINITE) == -1);  // which is poll's word for it, too
  pollfd waiting{host::DescriptorOf(handle), POLLIN, 0};
  int ready = 0;
  do {
    ready = ::poll(&waiting, 1, static_cast<int>(milliseconds));
  } while (ready < 0 && errno == EINTR);
  if (ready < 0 || (waiting.revents & POLLNVAL) != 0) {
    return host::Fail(ERROR_INVALID_HANDLE, WAIT_FAILED);
  }
  return ready > 0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

// Differs from Windows:
// - A stack size and flags are refused with 87.
HANDLE CreateThread(LPSECURITY_ATTRIBUTES, std::size_t stackSize, LPTHREAD_START_ROUTINE start,
                    LPVOID parameter, DWORD flags, std::nullptr_t) {
  if (stackSize != 0 || flags != 0) {
    return host::Fail(ERROR_INVALID_PARAMETER, HANDLE{});
  }
  host::Descriptor thread = host::RunThread([start, parameter] {
    try {
      start(parameter);
    } catch (const ThreadExit&) {
    }
  });
  return thread ? host::HandleOf(std::move(thread))
                : host::Fail(host::ErrorFromErrno(errno), HANDLE{});
}

// Differs from Windows:
// - Ends a thread that CreateThread made, by unwinding its stack: destructors of its functions run,
//   and a catch-all in them would hold it up.
// - The exit code is not kept, as nothing here can ask for it.
void ExitThread(DWORD /*exitCode*/) {
  throw ThreadExit();
}

void Sleep(DWORD milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
