#include "platform/Thread.h"

namespace {

DWORD WINAPI ThreadEntry(void* parameter) {
  static_cast<Thread*>(parameter)->Run();
  ExitThread(0);
}

}  // namespace

Thread::~Thread() {
  if (m_Handle != nullptr) {
    CloseHandle(m_Handle);
  }
}

HANDLE Thread::Start() {
  m_Handle = CreateThread(nullptr, 0, ThreadEntry, this, 0, nullptr);
  return m_Handle;
}

void SleepMilliseconds(unsigned milliseconds) {
  Sleep(milliseconds);
}
