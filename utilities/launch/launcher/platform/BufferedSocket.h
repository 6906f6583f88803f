#pragma once
// A stream socket that gathers what is sent and reads ahead, for callers that move a few bytes at a
// time.
//
// Gathered bytes are sent before a receive that waits, when the buffer is full, by Flush and by the
// destructor, so a failed send shows in a later call. After a failed send or receive every call
// fails, and unread bytes are dropped. Prints nothing. One thread at a time.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Socket.h"

class BufferedSocket {
 public:
  // Takes ownership of `socket`; not null.
  explicit BufferedSocket(std::unique_ptr<Socket> socket);
  BufferedSocket(const BufferedSocket&) = delete;
  BufferedSocket& operator=(const BufferedSocket&) = delete;
  ~BufferedSocket();

  // False if this or an earlier send has failed.
  bool Send(std::string_view bytes);
  bool Flush();

  // The bytes that have arrived and are unread; valid until the next call but Skip. Waits if there
  // are none. Empty if the peer has closed the connection, and on failure.
  std::string_view Peek() { return m_Unread.empty() ? ReadAhead() : m_Unread; }

  // Marks bytes as read; at most as many as Peek has returned.
  void Skip(size_t count) { m_Unread.remove_prefix(count); }

 private:
  std::string_view ReadAhead();
  bool SendAll(std::string_view bytes);
  void Fail();

  std::unique_ptr<Socket> m_Socket;
  std::string m_Gathered;
  std::unique_ptr<char[]> m_ReadAhead;  // allocated on first use
  std::string_view m_Unread;            // part of m_ReadAhead
  bool m_HasFailed = false;
};
