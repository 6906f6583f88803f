#include "assistant/AssistantWire.h"

#include <algorithm>
#include <string_view>
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

// The characters of one byte at the front of `text`.
std::string_view AsciiRun(std::string_view text) {
  const auto end = std::find_if(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
  return text.substr(0, static_cast<size_t>(end - text.begin()));
}

// Empty if it would exceed four bytes.
std::string EncodeUtf8(int code) {
  if (code >= 0 && code < 0x80) {
    return std::string(1, static_cast<char>(code));
  }
  for (const LeadByte& form : kLeadBytes) {
    const int ownBits = code >> form.shift;
    if (ownBits < 0 || ownBits > (~form.mask & 0xFF)) {
      continue;
    }
    std::string bytes(1, static_cast<char>(form.mark | ownBits));
    for (int shift = form.shift - 6; shift >= 0; shift -= 6) {
      bytes += static_cast<char>(0x80 | ((code >> shift) & 0x3F));
    }
    return bytes;
  }
  return "";
}

// Like the two texts of the keep-alive, this one has no line end: the next text follows on its
// line.
void ReportLongSequence() {
  DebugPrint("UTF sequences longer than four bytes not handled, aborting");
}

}  // namespace

AssistantWire::AssistantWire(std::unique_ptr<Socket> connection)
    : m_Connection(std::move(connection)) {}

bool AssistantWire::SendInt(int32_t value) {
  const uint32_t bits = static_cast<uint32_t>(value);
  char bytes[4];
  for (int i = 0; i < 4; ++i) {
    bytes[i] = static_cast<char>(bits >> (24 - 8 * i));
  }
  return m_Connection.Send({bytes, sizeof bytes});
}

bool AssistantWire::ReceiveInt(int32_t& value) {
  uint32_t bits = 0;
  for (int i = 0; i < 4; ++i) {
    const int octet = TakeByte();
    if (octet < 0) {
      return false;
    }
    bits = bits << 8 | static_cast<uint32_t>(octet);
  }
  value = static_cast<int32_t>(bits);
  return true;
}

int AssistantWire::TakeByte() {
  const std::string_view arrived = m_Connection.Peek();
  if (arrived.empty()) {
    return -1;
  }
  m_Connection.Skip(1);
  return static_cast<uint8_t>(arrived.front());
}

int AssistantWire::ReceiveByte() {
  const int octet = TakeByte();
  if (octet < 0) {
    DebugPrint("Assistant: EOF\n");
  }
  return octet;
}

bool AssistantWire::SendChar(int code) {
  const std::string sequence = EncodeUtf8(code);
  if (sequence.empty()) {
    ReportLongSequence();
    return false;
  }
  return m_Connection.Send(sequence);
}

// Checks each byte as it arrives: an invalid lead byte is reported only after three more bytes.
int AssistantWire::ReceiveChar() {
  const int lead = ReceiveByte();
  if (lead < 0x80) {
    return lead;
  }
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
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view run = AsciiRun(rest);
    if (!(run.empty() ? SendChar(static_cast<uint8_t>(rest.front())) : m_Connection.Send(run))) {
      return false;
    }
    rest.remove_prefix(std::max<size_t>(run.size(), 1));
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
  for (size_t due = static_cast<size_t>(std::max(length, 0)); due > 0;) {
    const std::string_view run = AsciiRun(m_Connection.Peek().substr(0, due));
    if (run.empty()) {
      const int code = ReceiveChar();
      if (code == -1) {
        return false;
      }
      text += static_cast<char>(code & 0xFF);
      --due;
    } else {
      text += run;
      m_Connection.Skip(run.size());
      due -= run.size();
    }
  }
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
