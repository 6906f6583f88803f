// One conversation with the resident Assistant on TCP port 8118 of this machine.
//
// Made by ConnectToAssistant, owned by its caller, used by one thread at a time, inside the scope
// of a SocketStartup.
//
// Framing: an integer is 4 bytes, most significant first. A string is an integer N and N
// characters, each one UTF-8 sequence of 1 to 4 bytes; N = -1 is the null string, without
// characters. Texts are 8-bit: each byte is sent as the code point of its number, and of each
// received code point the low 8 bits are kept. Each byte of an integer, each character's sequence
// and each received byte is one call of the socket.
//
// A failed unit gives false or -1; the position in the stream is then lost. Nothing is retried.
// Only a failed copy of EnsureVersion throws (LaunchFailure).
#pragma once

#include <stdint.h>

#include <memory>
#include <string>

#include "platform/Socket.h"

class PropertyMap;

class AssistantConnection {
 public:
  explicit AssistantConnection(std::unique_ptr<Socket> connection);
  AssistantConnection(const AssistantConnection&) = delete;
  AssistantConnection& operator=(const AssistantConnection&) = delete;
  ~AssistantConnection();

  bool SendInt(int32_t value);
  bool ReceiveInt(int32_t& value);  // leaves `value` as it was on failure
  bool SendChar(int code);          // code points up to 0x1FFFFF
  int ReceiveByte();                // 0 to 255, or -1
  int ReceiveChar();                // a code point, or -1
  bool SendString(const std::string& text);

  // False for a null string too, which leaves `text` as it was; an error leaves what was read.
  bool ReceiveString(std::string& text);

  // Sends a string and receives one; a null string counts as a failure.
  bool Request(const std::string& request, std::string& answer);

  // Makes sure that the Assistant has the launcher's version: one of another version gets the
  // launcher's files and is told to restart. False when it did not come back with that version; the
  // connection is then closed. An Assistant that does not tell its state is taken as it is. Both
  // directories end in a separator. Throws LaunchFailure.
  bool EnsureVersion(const std::string& jarDirectory, const std::string& libDirectory);

  // A second connection, which only tells the Assistant that the launcher is still there. Whether
  // it could be connected is not looked at.
  bool OpenKeepAlive();
  void CloseKeepAlive();

 private:
  void WaitForEndOfStream();
  bool Reconnect();

  std::unique_ptr<Socket> m_Connection;
  std::unique_ptr<Socket> m_KeepAlive;
};

// Null when the Assistant cannot be reached.
std::unique_ptr<AssistantConnection> ConnectToAssistant();
