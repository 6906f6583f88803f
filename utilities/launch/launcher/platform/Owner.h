#pragma once
// Owns one thing of the system's that must be given back: a handle, a registry key, an allocated
// text. Empty when null. Giving it back keeps the last error, so that a failure can still be read
// after the scope was left.

#include <windows.h>

template <typename Value, void (*GiveBack)(Value)>
class Owner {
 public:
  explicit Owner(Value value) : m_Value(value) {}
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;
  ~Owner() {
    if (m_Value != nullptr) {
      const DWORD error = GetLastError();
      GiveBack(m_Value);
      SetLastError(error);
    }
  }

  Value Get() const { return m_Value; }
  explicit operator bool() const { return m_Value != nullptr; }

 private:
  Value m_Value;
};

inline void GiveBackHandle(HANDLE handle) {
  CloseHandle(handle);
}

using Handle = Owner<HANDLE, GiveBackHandle>;
