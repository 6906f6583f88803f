#pragma once
// Owns one thing that must be closed: a descriptor, a directory stream. Move-only. The close keeps
// errno, so that a failure can be read after the scope was left.

#include <cerrno>
#include <dirent.h>
#include <unistd.h>

namespace host {

template <typename T, T Empty, void Close(T)>
class Owner {
 public:
  Owner() = default;
  explicit Owner(T value) : m_Value(value) {}
  Owner(Owner&& other) noexcept : m_Value(other.Release()) {}
  Owner& operator=(Owner&& other) noexcept {
    if (this != &other) {
      Reset();
      m_Value = other.Release();
    }
    return *this;
  }
  ~Owner() { Reset(); }

  T Get() const { return m_Value; }
  explicit operator bool() const { return m_Value != Empty; }
  T Release() {
    const T value = m_Value;
    m_Value = Empty;
    return value;
  }
  void Reset() {
    if (m_Value == Empty) {
      return;
    }
    const int error = errno;
    Close(Release());
    errno = error;
  }

 private:
  T m_Value = Empty;
};

inline void CloseDescriptor(int descriptor) {
  ::close(descriptor);
}
inline void CloseDirectory(DIR* directory) {
  ::closedir(directory);
}

using Descriptor = Owner<int, -1, CloseDescriptor>;
using Directory = Owner<DIR*, nullptr, CloseDirectory>;

}  // namespace host
