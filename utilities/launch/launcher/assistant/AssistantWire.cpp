#include "assistant/AssistantWire.h"

#include <utility>

#include "platform/Diagnostics.h"

namespace {

constexpr int32_t kNullString = -1;

// Lead bytes of sequences of two, three and four bytes: (byte & mask) == mark; the other bits
// belong at `shift`.
struct LeadByte {
  int mask;
  int mark;
  int shift;
};
constexpr LeadByte kLeadBytes[] = {{0xE0, 0xC0, 6}, {0xF0, 0xE0, 12}, {0xF8, 0xF0, 18}};

bool IsContinuation(int byte) {
  return byte >= 0 && (byte & 0xC0) == 0x80;
}

// For code points from 0x80. Returns the number of bytes, or 0 if it would exceed four.
int EncodeUtf8(int code, uint8_t (&bytes)[4]) {
  for (const LeadByte& form : kLeadBytes) {
    const int ownBits = code >> form.shift;
    if (ownBits < 0 || ownBits > (~form.mask & 0xFF)) {
      continue;
    }
    int length = 0;
    bytes[length++] = static_cast<uint8_t>(form.mark | ownBits);
    for (int shift = form.shift - 6; shift >= 0; shift -= 6) {
      bytes[length++] = static_cast<uint8_t>(0x80 | ((code >> shift) & 0x3F));
    }
    return length;
  }
  return 0;
}

void ReportLongSequence() {
  DebugPrint("UTF sequences longer than four bytes not handled, aborting");
}

}  // namespace

AssistantWire::AssistantWire(std::unique_ptr<Socket> connection)
    : m_Connection(std::move(connection)) {}

bool AssistantWire::SendInt(int32_t value) {
  const uint32_t bits = static_cast<uint32_t>(value);
  for (int shift = 24; shift >= 0; shift -= 8) {
    const uint8_t octet = static_cast<uint8_t>(bits >> shift);
    if (m_Connection.Send(&octet, 1) != 1) {
      return false;
    }
  }
  return true;
}

bool AssistantWire::ReceiveInt(int32_t& value) {
  uint32_t bits = 0;
  for (int i = 0; i < 4; ++i) {
    uint8_t octet = 0;
    if (m_Connection.Receive(&octet, 1) != 1) {
      return false;
    }
    bits = bits << 8 | octet;
  }
  value = static_cast<int32_t>(bits);
  return true;
}

int AssistantWire::ReportEndOfStream() {
  DebugPrint("Assistant: EOF\n");
  return -1;
}

bool AssistantWire::SendSequence(int code) {
  uint8_t bytes[4];
  const int length = EncodeUtf8(code, bytes);
  if (length == 0) {
    ReportLongSequence();
    return false;
  }
  return m_Connection.Send(bytes, length) == length;
}

// Checks each byte as it arrives: an invalid lead byte is reported only after three more bytes.
int AssistantWire::ReceiveSequence(int lead) {
  int code = 0;
  for (const LeadByte& form : kLeadBytes) {
    const int octet = ReceiveByte();
    if (!IsContinuation(octet)) {
      return -1;
    }
    code = code << 6 | (octet & 0x3F);
    if ((lead & form.mask) == form.mark) {
      return (lead & ~form.mask) << form.shift | code;
    }
  }
  ReportLongSequence();
  return -1;
}

bool AssistantWire::SendString(const std::string& text) {
  DebugPrint("Assistant: Send '%s'\n", text.c_str());
  if (!SendInt(static_cast<int32_t>(text.size()))) {
    return false;
  }
  for (const char character : text) {
    if (!SendChar(static_cast<uint8_t>(character))) {
      return false;
    }
  }
  return true;
}

bool AssistantWire::ReceiveString(std::string& text) {
  int32_t length = 0;
  if (!ReceiveInt(length)) {
    return false;
  }
  if (length == kNullString) {
    DebugPrint("Assistant: Null string\n");
    return false;
  }
  DebugPrint("Assistant: Reading %d characters\n", length);
  text.clear();
  // Append in blocks: appending characters took a tenth of a relay's instructions.
  char block[256];
  size_t filled = 0;
  BufferedSocket::ByteReader reader(m_Connection);
  for (int32_t i = 0; i < length; ++i) {
    const int code = ReceiveChar(reader);
    if (code == -1) {
      text.append(block, filled);
      return false;
    }
    if (filled == sizeof block) {
      text.append(block, filled);
      filled = 0;
    }
    block[filled++] = static_cast<char>(code & 0xFF);
  }
  text.append(block, filled);
  DebugPrint("Assistant: Received '%s'\n", text.c_str());
  return true;
}

bool AssistantWire::Request(const std::string& request, std::string& answer) {
  if (SendString(request) && ReceiveString(answer)) {
    return true;
  }
  DebugPrint("Assistant: I/O Error\n");
  return false;
}
