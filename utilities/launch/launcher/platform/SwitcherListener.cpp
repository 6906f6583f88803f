#include "platform/SwitcherListener.h"

#include <tlhelp32.h>

#include <cstddef>
#include <cstdlib>
#include <utility>

#include "platform/Output.h"
#include "platform/Thread.h"

namespace {

constexpr int kParentEnded = 1;
constexpr unsigned kOrderlyExitMilliseconds = 500;

class OrderlyExit : public Thread {
 public:
  void Run() override { exit(kParentEnded); }
};

// exit() can hang on a lock of another thread (the loader's, for example) or on a stream that is
// not read. It runs on its own thread, with a time limit.
void EndProcess() {
  OrderlyExit orderly;
  orderly.Start();
  SleepMilliseconds(kOrderlyExitMilliseconds);
  TerminateProcess(GetCurrentProcess(), kParentEnded);
}

class SwitcherListener : public Thread {
 public:
  void Run() override {
    const DWORD parentId = FindParentProcessId(GetCurrentProcessId());
    if (parentId == 0) {
      Print("Warning: Parent process unknown, cannot terminate on its exit\n");
      return;
    }
    const Handle parent = OpenRunningProcess(parentId);
    if (!parent) {
      Print("Warning: Failed to get handle to parent process, cannot terminate on its exit\n");
      return;
    }
    WaitForSingleObject(parent.Get(), INFINITE);
    EndProcess();
  }
};

// Never destroyed: its thread may still run when the process ends.
SwitcherListener* g_listener = nullptr;

// Null on failure.
Handle TakeSnapshot() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  return Handle(snapshot == INVALID_HANDLE_VALUE ? nullptr : snapshot);
}

}  // namespace

void StartSwitcherListener() {
  if (g_listener != nullptr) {
    return;
  }
  g_listener = new SwitcherListener;
  g_listener->Start();
}

DWORD FindParentProcessId(DWORD processId) {
  const Handle snapshot = TakeSnapshot();
  if (!snapshot) {
    return 0;
  }
  // Skip entries that are too short to hold the parent's id.
  constexpr DWORD kNeededSize = offsetof(PROCESSENTRY32, th32ParentProcessID) + sizeof(DWORD);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL found = Process32First(snapshot.Get(), &entry); found;
       found = Process32Next(snapshot.Get(), &entry)) {
    if (entry.dwSize >= kNeededSize && entry.th32ProcessID == processId) {
      return entry.th32ParentProcessID;
    }
    entry.dwSize = sizeof entry;
  }
  return 0;
}

Handle OpenRunningProcess(DWORD processId) {
  Handle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, processId));
  const bool hasEnded = process && WaitForSingleObject(process.Get(), 0) == WAIT_OBJECT_0;
  return hasEnded ? Handle(nullptr) : std::move(process);
}
