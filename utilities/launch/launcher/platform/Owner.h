#pragma once
// Owns a system resource: a handle, a registry key, an allocated string. Null means empty. The
// destructor keeps the last error, so that the caller can read it.

#include <windows.h>

#include <utility>

template <typename Value, void (*Release)(Value)>
class Owner {
 public:
  explicit Owner(Value value) : m_Value(value) {}
  Owner(Owner&& other) noexcept : m_Value(std::exchange(other.m_Value, nullptr)) {}
  ~Owner() {
    if (m_Value != nullptr) {
      const DWORD error = GetLastError();
      Release(m_Value);
      SetLastError(error);
    }
  }

  Value Get() const { return m_Value; }
  explicit operator bool() const { return m_Value != nullptr; }

 private:
  Value m_Value;
};

inline void ReleaseHandle(HANDLE handle) {
  CloseHandle(handle);
}

using Handle = Owner<HANDLE, ReleaseHandle>;
