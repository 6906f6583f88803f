#pragma once
// A thread of the launcher's own: derive, give Run a body, create, Start.
//
// Whoever creates a Thread owns it and must keep it for as long as the thread runs: destroying it
// neither waits for the thread nor stops it.

#include <windows.h>

class Thread {
 public:
  Thread() = default;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  virtual ~Thread();

  // The body; runs on the new thread.
  virtual void Run() = 0;

  // Starts the thread at once. Returns its handle, which stays the object's own; null when it could
  // not be started.
  HANDLE Start();

 private:
  HANDLE m_Handle = nullptr;
};

void SleepMilliseconds(unsigned milliseconds);
