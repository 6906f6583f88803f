#pragma once
// A stream socket that gathers what is sent and reads ahead, so that callers can move single bytes.
//
// Gathered bytes are sent before a receive that waits, when the buffer is full, by Flush, and when
// the object is destroyed. A failed send therefore shows in a later call; from then on every call
// fails, and received bytes that were not yet taken are dropped. Each buffer is allocated with its
// first byte. Nothing here prints or throws. One thread at a time.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <algorithm>
#include <memory>

#include "platform/Socket.h"

class BufferedSocket {
 public:
  // `socket` is owned from now on; not null.
  explicit BufferedSocket(std::unique_ptr<Socket> socket);
  BufferedSocket(const BufferedSocket&) = delete;
  BufferedSocket& operator=(const BufferedSocket&) = delete;
  ~BufferedSocket();

  // `length`, or -1.
  int32_t Send(const void* bytes, int32_t length) {
    if (length > m_Room) {
      return SendBeyondRoom(bytes, length);
    }
    memcpy(m_Gathered.get() + (kBufferSize - m_Room), bytes, static_cast<size_t>(length));
    m_Room -= length;
    return length;
  }

  // The number of bytes received, at most `capacity`; 0 when the peer has closed the connection,
  // -1 on failure.
  int32_t Receive(void* bytes, int32_t capacity) {
    if (m_Next == m_End) {
      const int32_t result = ReadAhead();
      if (result <= 0) {
        return result;
      }
    }
    const int32_t length = std::min(capacity, m_End - m_Next);
    memcpy(bytes, m_ReadAhead.get() + m_Next, static_cast<size_t>(length));
    m_Next += length;
    return length;
  }

  // Sends what was gathered. False when that failed, now or before.
  bool Flush();

 private:
  static constexpr int32_t kBufferSize = 32768;

  int32_t SendBeyondRoom(const void* bytes, int32_t length);
  int32_t ReadAhead();
  bool SendAll(const char* bytes, int32_t length);

  std::unique_ptr<Socket> m_Socket;
  std::unique_ptr<char[]> m_Gathered;
  std::unique_ptr<char[]> m_ReadAhead;
  int32_t m_Room = 0;  // left in m_Gathered; none before it is allocated and after a failure
  int32_t m_Next = 0;  // of the bytes in m_ReadAhead that were not yet taken
  int32_t m_End = 0;
  bool m_HasFailed = false;
};
