#pragma once
// The framing between the launcher and the resident Assistant on one connection.
//
// An integer is 4 bytes, big-endian. A string is an integer N and N characters, each a UTF-8
// sequence of 1 to 4 bytes; N = -1 is the null string. Strings of the launcher are bytes: each is
// sent as the code point of its value, and the low 8 bits of each received code point are kept.
// Each byte of an integer, each character and each received byte is one call of BufferedSocket,
// which defines when bytes are sent.
//
// A failed operation returns false or -1 and loses the position in the stream. Nothing is retried
// or thrown. One thread at a time.

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
  bool SendChar(int code) {
    const uint8_t octet = static_cast<uint8_t>(code);
    return code >= 0 && code < 0x80 ? m_Connection.Send(&octet, 1) == 1 : SendSequence(code);
  }

  // 0 to 255, or -1.
  int ReceiveByte() {
    uint8_t octet = 0;
    return m_Connection.Receive(&octet, 1) == 1 ? octet : ReportEndOfStream();
  }

  bool SendString(const std::string& text);

  // Also false for the null string, which leaves `text` unchanged. After an error `text` holds what
  // was received.
  bool ReceiveString(std::string& text);

  // Sends a string and receives one; a null string counts as a failure.
  bool Request(const std::string& request, std::string& answer);

  // Sends buffered bytes. False if a send has failed.
  bool Flush() { return m_Connection.Flush(); }

 private:
  bool SendSequence(int code);  // two bytes or more

  // A code point, or -1.
  int ReceiveChar(BufferedSocket::ByteReader& reader) {
    const int lead = reader.Receive();
    if (lead < 0) {
      return ReportEndOfStream();
    }
    if (lead < 0x80) {
      return lead;
    }
    reader.Save();
    const int code = ReceiveSequence(lead);
    reader.Load();
    return code;
  }
  int ReceiveSequence(int lead);
  static int ReportEndOfStream();  // returns -1

  BufferedSocket m_Connection;
};
