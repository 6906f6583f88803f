#include "Handles.h"

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <mutex>
#include <vector>

#include "LastError.h"
#include "Sockets.h"

namespace {

using host::Object;

constexpr std::uintptr_t kMaxHandles = 0xFFFF;
constexpr unsigned kGenerationShift = 18;

struct Slot {
  std::shared_ptr<Object> object;
  std::uintptr_t generation = 0;
};

class HandleTable {
 public:
  HANDLE Add(std::shared_ptr<Object> object) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    std::size_t index = 0;
    while (index < m_Slots.size() && m_Slots[index].object != nullptr) {
      ++index;
    }
    if (index == kMaxHandles) {
      return nullptr;
    }
    if (index == m_Slots.size()) {
      m_Slots.emplace_back();
    }
    Slot& slot = m_Slots[index];
    slot.object = std::move(object);
    // Like Windows' own, a handle is a multiple of four and never null.
    return reinterpret_cast<HANDLE>(slot.generation << kGenerationShift | (index + 1) << 2);
  }

  std::shared_ptr<Object> Find(HANDLE handle) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const Slot* slot = SlotOf(handle);
    return slot != nullptr ? slot->object : nullptr;
  }

  // The object is returned so that it ends outside the lock.
  std::shared_ptr<Object> Remove(HANDLE handle) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    Slot* slot = SlotOf(handle);
    if (slot == nullptr) {
      return nullptr;
    }
    ++slot->generation;
    return std::move(slot->object);
  }

 private:
  Slot* SlotOf(HANDLE handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    const std::uintptr_t number = (value >> 2) & kMaxHandles;
    if ((value & 3) != 0 || number == 0 || number > m_Slots.size()) {
      return nullptr;
    }
    Slot& slot = m_Slots[number - 1];
    const bool isLive = slot.object != nullptr && slot.generation == value >> kGenerationShift;
    return isLive ? &slot : nullptr;
  }

  std::mutex m_Mutex;
  std::vector<Slot> m_Slots;
};

// Never destroyed: threads may still use handles while the process ends.
HandleTable& Table() {
  static HandleTable& table = *new HandleTable;
  return table;
}

// Milliseconds for poll until the deadline, rounded up so that a wait never ends early.
int Remaining(std::chrono::steady_clock::time_point deadline) {
  using std::chrono::milliseconds;
  const auto left =
      std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
  constexpr int kLongest = 0x7FFFFFFF;
  return left < 0 ? 0 : left > kLongest ? kLongest : static_cast<int>(left);
}

}  // namespace

namespace host {

HANDLE AddHandle(std::shared_ptr<Object> object) {
  return Table().Add(std::move(object));
}

std::shared_ptr<Object> FindObject(HANDLE handle) {
  return Table().Find(handle);
}

}  // namespace host

BOOL CloseHandle(HANDLE handle) {
  return Table().Remove(handle) != nullptr ? TRUE : host::Fail(ERROR_INVALID_HANDLE);
}

// Differs from Windows:
// - The null and invalid-handle values are no pseudo handles of the own process and thread.
// - A handle closed by another thread during the wait ends nothing: the wait goes on.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  const std::shared_ptr<Object> object = host::FindObject(handle);
  if (object == nullptr || object->WaitDescriptor() < 0) {
    host::Fail(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
  }
  if (!object->MayWait()) {
    host::Fail(ERROR_ACCESS_DENIED);
    return WAIT_FAILED;
  }
  host::SendGathered();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    pollfd waiting{object->WaitDescriptor(), POLLIN, 0};
    const int timeout = milliseconds == INFINITE ? -1 : Remaining(deadline);
    const int ready = ::poll(&waiting, 1, timeout);
    if (ready > 0) {
      return WAIT_OBJECT_0;
    }
    if (ready < 0 && errno != EINTR) {
      host::Fail(host::ErrorFromErrno(errno));
      return WAIT_FAILED;
    }
    if (ready == 0 && std::chrono::steady_clock::now() >= deadline) {
      return WAIT_TIMEOUT;
    }
  }
}
