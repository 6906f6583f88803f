#pragma once
// A HANDLE is a descriptor that polls readable once what it stands for has ended: a process's, or
// the read end of a pipe whose write end is closed then. The system keeps the table.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <utility>

#include "windows.h"

namespace host {

// Owns a descriptor. One that took the place of a closed standard stream is moved, so that nothing
// is printed into it.
class Descriptor {
 public:
  // -1 for none, with errno saying why.
  explicit Descriptor(int value = -1) : m_Value(value) {
    if (value >= 0 && value <= STDERR_FILENO) {
      m_Value = ::fcntl(value, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
      ::close(value);
    }
  }
  Descriptor(Descriptor&& other) noexcept : m_Value(other.Release()) {}
  ~Descriptor() {
    if (m_Value >= 0) {
      ::close(m_Value);
    }
  }

  int Get() const { return m_Value; }
  explicit operator bool() const { return m_Value >= 0; }
  int Release() { return std::exchange(m_Value, -1); }

 private:
  int m_Value;
};

// Hands the descriptor over.
inline HANDLE HandleOf(Descriptor descriptor) {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(descriptor.Release()));
}

// What is no handle gives a descriptor that nobody has.
inline int DescriptorOf(HANDLE handle) {
  const auto value = reinterpret_cast<std::intptr_t>(handle);
  return value > STDERR_FILENO ? static_cast<int>(value) : INT_MAX;
}

// Runs the body on a thread of its own. The descriptor polls readable once it has returned; none,
// with errno, when there can be no such thread.
Descriptor RunThread(std::function<void()> body);

}  // namespace host
