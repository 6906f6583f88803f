#pragma once
// One lazily created instance of a class per process.
//
// A class T derives from Singleton<T> and is accessed through Singleton<T>::GetInstance(). The
// instance is created on first use and never destroyed. Main thread only: there is no lock.

#include "platform/Assertion.h"

template <typename T>
class Singleton {
 public:
  virtual ~Singleton() = default;

  static T& GetInstance() {
    if (m_instance == nullptr) {
      m_instance = new T;
    }
    Assert(m_instance != nullptr, "m_instance != 0", "Singleton");
    return *m_instance;
  }

 private:
  friend T;  // no other class can derive from Singleton<T>
  Singleton() = default;

  static T* m_instance;
};

template <typename T>
T* Singleton<T>::m_instance = nullptr;
