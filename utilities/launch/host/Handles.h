#pragma once
// A HANDLE is a descriptor that polls readable once what it stands for has ended: a process's, or
// the read end of a pipe whose write end is closed then. The system keeps the table.

#include <functional>

#include "Descriptor.h"
#include "windows.h"

namespace host {

// Hands the descriptor over.
inline HANDLE HandleOf(Descriptor descriptor) {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(descriptor.Release()));
}

// What is no handle gives a descriptor that nobody has.
int DescriptorOf(HANDLE handle);

// Runs the body on a thread of its own. The descriptor polls readable once it has returned; none,
// with errno, when there can be no such thread.
Descriptor RunThread(std::function<void()> body);

// Sends what the calling thread's sends left gathered. Every call that can block its thread makes
// this one first, so that nobody waits for bytes that wait here.
void SendGathered();

}  // namespace host
