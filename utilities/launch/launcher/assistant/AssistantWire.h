#pragma once
// The framing between the launcher and the resident Assistant on one connection.
//
// An integer is 4 bytes, big-endian. A string is an integer N and N characters, each a UTF-8
// sequence of 1 to 4 bytes; N = -1 is the null string. Strings of the launcher are bytes: each is
// sent as the code point of its value, and the low 8 bits of each received code point are kept.
// BufferedSocket defines when bytes are sent.
//
// A failed operation returns false or -1 and loses the position in the stream. Nothing is retried.
// One thread at a time.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/BufferedSocket.h"

class AssistantWire {
 public:
  // Takes ownership; the destructor closes the connection.
  explicit AssistantWire(std::unique_ptr<Socket> connection);

  bool SendInt(int32_t value);
  bool ReceiveInt(int32_t& value);  // `value` is unchanged on failure

  // Code points up to 0x1FFFFF.
  bool SendChar(int code);

  // 0 to 255, or -1.
  int ReceiveByte();

  // A code point, or -1.
  int ReceiveChar();

  bool SendString(const std::string& text);

  // Also false for the null string, which leaves `text` unchanged. After an error `text` holds what
  // was received.
  bool ReceiveString(std::string& text);

  // Sends a string and receives one; a null string counts as a failure.
  bool Request(const std::string& request, std::string& answer);

  // Sends gathered bytes. False if a send has failed.
  bool Flush() { return m_Connection.Flush(); }

 private:
  int TakeByte();  // 0 to 255, or -1

  BufferedSocket m_Connection;
};
