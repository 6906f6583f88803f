#pragma once
// Owns a descriptor. Move-only. One that took the place of a closed standard stream is moved, so
// that nothing is printed into it. The close keeps errno.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace host {

class Descriptor {
 public:
  Descriptor() = default;
  // -1 for none, with errno saying why.
  explicit Descriptor(int value) : m_Value(value) {
    if (value >= 0 && value <= STDERR_FILENO) {
      m_Value = ::fcntl(value, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
      ::close(value);
    }
  }
  Descriptor(Descriptor&& other) noexcept : m_Value(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_Value, other.m_Value);
    return *this;
  }
  ~Descriptor() {
    if (m_Value >= 0) {
      const int error = errno;
      ::close(m_Value);
      errno = error;
    }
  }

  int Get() const { return m_Value; }
  explicit operator bool() const { return m_Value >= 0; }
  int Release() { return std::exchange(m_Value, -1); }

 private:
  int m_Value = -1;
};

}  // namespace host
