#pragma once
// The sockets that are open, each a record with what was read ahead and what was gathered. A record
// is used by one thread at a time and found without a lock.

#include <atomic>
#include <cstddef>

#include "winsock2.h"

namespace host {

constexpr std::size_t kSocketBufferSize = 65536;

struct SocketRecord {
  SocketRecord(SOCKET ownName, int ownDescriptor) : name(ownName), descriptor(ownDescriptor) {}
  SocketRecord(const SocketRecord&) = delete;
  SocketRecord& operator=(const SocketRecord&) = delete;
  ~SocketRecord();

  const SOCKET name;
  const int descriptor;
  bool isConnected = false;
  bool isSendShut = false;
  bool isReceiveShut = false;
  int error = 0;  // of a send or receive that failed: the stream is broken for good
  std::size_t readBegin = 0;
  std::size_t readEnd = 0;
  std::size_t gathered = 0;
  char readAhead[kSocketBufferSize];
  char gather[kSocketBufferSize];
};

// A socket's name is generation * kMaxSockets + slot, the generation from 1, so that a closed
// socket is known as such and 0 is none.
constexpr std::size_t kMaxSockets = 1024;
extern std::atomic<SocketRecord*> g_Sockets[kMaxSockets];

// Null for a socket that is closed or never was.
inline SocketRecord* FindSocket(SOCKET socket) {
  SocketRecord* record = g_Sockets[socket % kMaxSockets].load(std::memory_order_acquire);
  return record != nullptr && record->name == socket ? record : nullptr;
}

// Owns the descriptor from then on; INVALID_SOCKET, with the descriptor closed, when all are taken.
SOCKET AddSocket(int descriptor);
void RemoveSocket(SocketRecord* record);

// The count of start-ups not yet cleaned up.
bool AreSocketsStarted();
void CountStartup();
// False when there is none to take back. The last one removes every socket.
bool TakeBackStartup();

}  // namespace host
