#pragma once
// A HANDLE is a file descriptor that polls readable once its object has ended: a pidfd, or the read
// end of a pipe whose write end closes then. The kernel keeps the handle table.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <utility>

#include "windows.h"

namespace linux {

// Owns a file descriptor. Moves it if it has the number of a standard stream, so that no output
// goes to it.
class Descriptor {
 public:
  // -1: none, with errno set.
  explicit Descriptor(int value = -1) : m_Value(value) {
    if (value >= 0 && value <= STDERR_FILENO) {
      m_Value = ::fcntl(value, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
      const int error = errno;
      ::close(value);
      errno = error;
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

// Takes ownership of the descriptor.
inline HANDLE HandleOf(Descriptor descriptor) {
  return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(descriptor.Release()));
}

// Invalid handles map to INT_MAX, which is never an open descriptor.
inline int DescriptorOf(HANDLE handle) {
  const auto value = reinterpret_cast<std::intptr_t>(handle);
  return value > STDERR_FILENO ? static_cast<int>(value) : INT_MAX;
}

// Runs `body` on a new thread. The descriptor polls readable after it has returned; empty, with
// errno set, on failure.
Descriptor RunThread(std::function<void()> body);

}  // namespace linux
