#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "Handles.h"
#include "LastError.h"
#include "Owner.h"
#include "Sockets.h"

namespace {

class ThreadObject : public host::Object {
 public:
  ThreadObject() : m_Ended(::eventfd(0, EFD_CLOEXEC)) {}

  int WaitDescriptor() const override { return m_Ended.Get(); }
  void SetEnded() const { ::eventfd_write(m_Ended.Get(), 1); }

 private:
  host::Descriptor m_Ended;
};

// What the new thread needs.
struct ThreadStart {
  std::shared_ptr<ThreadObject> object;
  LPTHREAD_START_ROUTINE start;
  LPVOID parameter;
};

// Thrown by ExitThread, through the thread's functions to its first one here. pthread_exit would
// not do: it unwinds with the system's runtime, which cannot pass frames made for the one linked
// in.
struct ThreadExit {};

thread_local bool t_CanUnwind = false;

void* ThreadMain(void* argument) {
  const std::unique_ptr<const ThreadStart> thread(static_cast<ThreadStart*>(argument));
  t_CanUnwind = true;
  try {
    thread->start(thread->parameter);
  } catch (const ThreadExit&) {
  }
  host::SendGathered();
  thread->object->SetEnded();
  return nullptr;
}

int StartDetached(ThreadStart* start) {
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread{};
  const int error = ::pthread_create(&thread, &attributes, ThreadMain, start);
  ::pthread_attr_destroy(&attributes);
  return error;
}

}  // namespace

// Differs from Windows:
// - Attributes, a stack size, flags and a thread id are refused with 87.
HANDLE CreateThread(LPSECURITY_ATTRIBUTES attributes, std::size_t stackSize,
                    LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags, LPDWORD threadId) {
  if (attributes != nullptr || stackSize != 0 || start == nullptr || flags != 0 ||
      threadId != nullptr) {
    host::Fail(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto object = std::make_shared<ThreadObject>();
  if (object->WaitDescriptor() < 0) {
    host::Fail(host::ErrorFromErrno(errno));
    return nullptr;
  }
  const HANDLE handle = host::AddHandle(object);
  if (handle == nullptr) {
    host::Fail(ERROR_TOO_MANY_OPEN_FILES);
    return nullptr;
  }
  auto thread = std::make_unique<ThreadStart>(ThreadStart{std::move(object), start, parameter});
  const int error = StartDetached(thread.get());
  if (error != 0) {
    CloseHandle(handle);
    host::Fail(host::ErrorFromErrno(error));
    return nullptr;
  }
  static_cast<void>(thread.release());  // The thread's own now.
  return handle;
}

// Differs from Windows:
// - The stack of a thread made by CreateThread is unwound: destructors of its functions run, and a
//   catch-all in them would hold it up.
// - The exit code is not kept, as nothing here can ask for it.
void ExitThread(DWORD exitCode) {
  if (t_CanUnwind) {
    throw ThreadExit();
  }
  host::SendGathered();
  for (;;) {
    ::syscall(SYS_exit, exitCode);
  }
}

void Sleep(DWORD milliseconds) {
  host::SendGathered();
  do {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  } while (milliseconds == INFINITE);
}
