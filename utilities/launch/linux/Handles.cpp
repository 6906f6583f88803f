#include "Handles.h"

#include <poll.h>

#include <chrono>
#include <system_error>
#include <thread>

#include "LastError.h"

namespace {

// Runs before the program opens a file, which would take the descriptor of a closed standard stream
// and be used as that stream, also by a child and the JVM.
[[gnu::constructor]] void FillStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (::fcntl(stream, F_GETFD) < 0) {
      ::open("/dev/null", O_RDWR);  // gets the lowest free descriptor
    }
  }
}

// Thrown by ExitThread, caught in CreateThread's entry function. pthread_exit cannot be used: it
// unwinds with the system's libgcc, which cannot pass frames of the linked one.
struct ThreadExit {};

}  // namespace

namespace linux {

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

}  // namespace linux

BOOL CloseHandle(HANDLE handle) {
  return ::close(linux::DescriptorOf(handle)) == 0 ? TRUE : linux::Fail(ERROR_INVALID_HANDLE);
}

// Differs from Windows:
// - Closing the handle on another thread does not end the wait.
// - A wait interrupted by a signal starts again.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  static_assert(static_cast<int>(INFINITE) == -1);  // poll's infinite time-out, too
  pollfd waiting{linux::DescriptorOf(handle), POLLIN, 0};
  int ready = 0;
  do {
    ready = ::poll(&waiting, 1, static_cast<int>(milliseconds));
  } while (ready < 0 && errno == EINTR);
  if (ready < 0 || (waiting.revents & POLLNVAL) != 0) {
    return linux::Fail(ERROR_INVALID_HANDLE, WAIT_FAILED);
  }
  return ready > 0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

// Differs from Windows:
// - A stack size and flags are refused with 87.
HANDLE CreateThread(LPSECURITY_ATTRIBUTES, std::size_t stackSize, LPTHREAD_START_ROUTINE start,
                    LPVOID parameter, DWORD flags, std::nullptr_t) {
  if (stackSize != 0 || flags != 0) {
    return linux::Fail(ERROR_INVALID_PARAMETER, HANDLE{});
  }
  linux::Descriptor thread = linux::RunThread([start, parameter] {
    try {
      start(parameter);
    } catch (const ThreadExit&) {
    }
  });
  return thread ? linux::HandleOf(std::move(thread))
                : linux::Fail(linux::ErrorFromErrno(errno), HANDLE{});
}

// Differs from Windows:
// - Ends a thread made by CreateThread by unwinding its stack: destructors run, and a catch-all
//   handler would stop it.
// - The exit code is not kept: nothing here can query it.
void ExitThread(DWORD /*exitCode*/) {
  throw ThreadExit();
}

void Sleep(DWORD milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
