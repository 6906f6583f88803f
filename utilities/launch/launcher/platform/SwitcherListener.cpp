#include "platform/SwitcherListener.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

#include <tlhelp32.h>

#include "platform/Thread.h"

namespace {

constexpr int kParentEnded = 1;
constexpr unsigned kOrderlyExitMilliseconds = 500;

// An orderly exit flushes standard output, which never ends when nobody reads the pipe behind it
// any more. Nobody is left to wait for that output either, so the exit gets this long and no
// longer.
class ExitDeadline : public Thread {
 public:
  void Run() override {
    SleepMilliseconds(kOrderlyExitMilliseconds);
    _Exit(kParentEnded);
  }
};

class SwitcherListener : public Thread {
 public:
  void Run() override {
    const DWORD parentId = FindParentProcessId(GetCurrentProcessId());
    if (parentId == 0) {
      printf("Warning: Parent process unknown, cannot terminate on its exit\n");
      return;
    }
    const HANDLE parent = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, parentId);
    if (parent == nullptr) {
      printf("Warning: Failed to get handle to parent process, cannot terminate on its exit\n");
      return;
    }
    WaitForSingleObject(parent, INFINITE);
    ExitDeadline deadline;
    deadline.Start();
    exit(kParentEnded);
  }
};

// Lives until the process ends: the thread may be anywhere in it.
SwitcherListener* g_listener = nullptr;

}  // namespace

void StartSwitcherListener() {
  if (g_listener != nullptr) {
    return;
  }
  g_listener = new SwitcherListener;
  g_listener->Start();
}

DWORD FindParentProcessId(DWORD processId) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) {
    return 0;
  }
  // An entry counts only when what the system wrote of it reaches beyond the parent's id.
  constexpr DWORD kNeededSize = offsetof(PROCESSENTRY32, th32ParentProcessID) + sizeof(DWORD);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  DWORD parentId = 0;
  for (BOOL found = Process32First(snapshot, &entry); found;
       found = Process32Next(snapshot, &entry)) {
    if (entry.dwSize >= kNeededSize && entry.th32ProcessID == processId) {
      parentId = entry.th32ParentProcessID;
      break;
    }
    entry.dwSize = sizeof entry;
  }
  CloseHandle(snapshot);
  return parentId;
}
