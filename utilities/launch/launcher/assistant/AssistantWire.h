#pragma once
// The framing in which the launcher and the resident Assistant talk, on one connection.
//
// An integer is 4 bytes, most significant first. A string is an integer N and N characters, each
// one UTF-8 sequence of 1 to 4 bytes; N = -1 is the null string, without characters. Texts are
// 8-bit: each byte is sent as the code point of its number, and of each received code point the low
// 8 bits are kept. Each byte of an integer, each character's sequence and each received byte is one
// call of the buffered socket; see there when bytes leave.
//
// A failed unit gives false or -1; the position in the stream is then lost. Nothing is retried or
// thrown. One thread at a time.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/BufferedSocket.h"

class AssistantWire {
 public:
  // Closes the connection when it is destroyed.
  explicit AssistantWire(std::unique_ptr<Socket> connection);

  bool SendInt(int32_t value);
  bool ReceiveInt(int32_t& value);  // leaves `value` as it was on failure

  // Code points up to 0x1FFFFF.
  bool SendChar(int code) {
    const uint8_t octet = static_cast<uint8_t>(code);
    return code >= 0 && code < 0x80 ? m_Connection.Send(&octet, 1) == 1 : SendSequence(code);
  }

  // 0 to 255, or -1.
  int ReceiveByte() {
    uint8_t octet = 0;
    return m_Connection.Receive(&octet, 1) == 1 ? octet : ReportEndOfStream();
  }

  // A code point, or -1.
  int ReceiveChar() {
    const int lead = ReceiveByte();
    return lead < 0x80 ? lead : ReceiveSequence(lead);
  }

  bool SendString(const std::string& text);

  // False for a null string too, which leaves `text` as it was; an error leaves what was read.
  bool ReceiveString(std::string& text);

  // Sends a string and receives one; a null string counts as a failure.
  bool Request(const std::string& request, std::string& answer);

  // Sends what the operations above have gathered. False when a send has failed.
  bool Flush() { return m_Connection.Flush(); }

 private:
  bool SendSequence(int code);  // of more bytes than one
  int ReceiveSequence(int lead);
  static int ReportEndOfStream();  // -1

  BufferedSocket m_Connection;
};
