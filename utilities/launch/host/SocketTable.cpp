#include "SocketTable.h"

#include <unistd.h>

#include <mutex>

namespace {

SOCKET g_Generations[host::kMaxSockets];
int g_Startups = 0;
std::mutex g_Mutex;  // for the two above and for every change of a slot

}  // namespace

namespace host {

std::atomic<SocketRecord*> g_Sockets[kMaxSockets];

SocketRecord::~SocketRecord() {
  ::close(descriptor);
}

SOCKET AddSocket(int descriptor) {
  const std::lock_guard<std::mutex> lock(g_Mutex);
  for (std::size_t slot = 0; slot < kMaxSockets; ++slot) {
    if (g_Sockets[slot].load(std::memory_order_relaxed) == nullptr) {
      const SOCKET name = ++g_Generations[slot] * kMaxSockets + slot;
      g_Sockets[slot].store(new SocketRecord(name, descriptor), std::memory_order_release);
      return name;
    }
  }
  ::close(descriptor);
  return INVALID_SOCKET;
}

void RemoveSocket(SocketRecord* record) {
  const std::lock_guard<std::mutex> lock(g_Mutex);
  g_Sockets[record->name % kMaxSockets].store(nullptr, std::memory_order_release);
  delete record;
}

bool AreSocketsStarted() {
  const std::lock_guard<std::mutex> lock(g_Mutex);
  return g_Startups > 0;
}

void CountStartup() {
  const std::lock_guard<std::mutex> lock(g_Mutex);
  ++g_Startups;
}

bool TakeBackStartup() {
  const std::lock_guard<std::mutex> lock(g_Mutex);
  if (g_Startups == 0) {
    return false;
  }
  if (--g_Startups == 0) {
    for (std::atomic<SocketRecord*>& slot : g_Sockets) {
      delete slot.exchange(nullptr);
    }
  }
  return true;
}

}  // namespace host
