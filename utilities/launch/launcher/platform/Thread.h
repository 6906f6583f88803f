#pragma once
// A thread: derive, implement Run, call Start.
//
// The creator owns the object and must keep it while the thread runs: the destructor neither waits
// for the thread nor stops it.

#include <windows.h>

class Thread {
 public:
  Thread() = default;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  virtual ~Thread();

  // Runs on the new thread.
  virtual void Run() = 0;

  // Returns the handle, which the object owns; null on failure.
  HANDLE Start();

 private:
  HANDLE m_Handle = nullptr;
};

void SleepMilliseconds(unsigned milliseconds);
