#pragma once
// The table behind HANDLE. A handle is a slot's number and generation, so that a closed handle is
// known as such even after its slot was used again. Objects are shared: a thread that waits on one
// keeps it alive when another closes the handle. Safe from any thread.

#include <memory>

#include "windows.h"

namespace host {

// What a handle stands for.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  // A descriptor that polls readable once the object is signalled, -1 where waiting makes no sense.
  virtual int WaitDescriptor() const { return -1; }
  // False when the handle was opened without the right to wait.
  virtual bool MayWait() const { return true; }
};

// Null when the table is full.
HANDLE AddHandle(std::shared_ptr<Object> object);

// Null for a handle that is closed or was never given out.
std::shared_ptr<Object> FindObject(HANDLE handle);

// Null for a handle of another kind too.
template <typename T>
std::shared_ptr<T> FindObject(HANDLE handle) {
  return std::dynamic_pointer_cast<T>(FindObject(handle));
}

}  // namespace host
