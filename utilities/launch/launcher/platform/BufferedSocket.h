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
    if (length >= m_FreeEnd - m_Free) {
      return SendBeyondFree(bytes, length);
    }
    memcpy(m_Free, bytes, static_cast<size_t>(length));
    m_Free += length;
    return length;
  }

  // The number of bytes received, at most `capacity`; 0 when the peer has closed the connection,
  // -1 on failure.
  int32_t Receive(void* bytes, int32_t capacity) {
    if (m_Unread == m_UnreadEnd) {
      const int32_t result = ReadAhead();
      if (result <= 0) {
        return result;
      }
    }
    // For a single byte, which is the usual case, the length is then a constant.
    const int32_t length =
        capacity == 1 ? 1 : std::min(capacity, static_cast<int32_t>(m_UnreadEnd - m_Unread));
    memcpy(bytes, m_Unread, static_cast<size_t>(length));
    m_Unread += length;
    return length;
  }

  // Sends what was gathered. False when that failed, now or before.
  bool Flush();

 private:
  static constexpr int32_t kBufferSize = 32768;

  int32_t SendBeyondFree(const void* bytes, int32_t length);
  int32_t ReadAhead();
  bool SendAll(const char* bytes, const char* end);

  std::unique_ptr<Socket> m_Socket;
  std::unique_ptr<char[]> m_Gathered;
  std::unique_ptr<char[]> m_ReadAhead;
  char* m_Free = nullptr;  // what is left of m_Gathered; nothing after a failure
  char* m_FreeEnd = nullptr;
  const char* m_Unread = nullptr;  // what is left of m_ReadAhead
  const char* m_UnreadEnd = nullptr;
  bool m_HasFailed = false;
};
