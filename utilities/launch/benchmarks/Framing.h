// The part of the Assistant's framing that the benchmarks use: 4-byte big-endian integers, and
// ASCII strings after their length. Failed calls end the program.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform.h"

using Connection = decltype(::socket(0, 0, 0));
constexpr std::uint16_t kAssistantPort = 8118;
constexpr std::size_t kBlockSize = 65536;

template <typename Result>
Result Check(Result result, const char* what) {
  if (result < 0) {
    std::perror(what);
    std::exit(2);
  }
  return result;
}

inline sockaddr_in LoopbackAddress(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

inline void AppendInt(std::string& out, std::int32_t value) {
  const std::uint32_t bits = htonl(static_cast<std::uint32_t>(value));
  out.append(reinterpret_cast<const char*>(&bits), sizeof bits);
}

inline void AppendString(std::string& out, const std::string& text) {
  AppendInt(out, static_cast<std::int32_t>(text.size()));
  out += text;
}

inline void SendAll(Connection connection, const char* data, std::size_t length) {
  while (length > 0) {
    const auto sent = static_cast<std::size_t>(
        Check(::send(connection, data, static_cast<Size>(length), kSendFlags), "send"));
    data += sent;
    length -= sent;
  }
}

// Reads integers and strings in blocks.
class UnitReader {
 public:
  explicit UnitReader(Connection connection) : m_Connection(connection), m_Block(2 * kBlockSize) {}

  // False at the end of the stream.
  bool ReadInt(std::int32_t& value) {
    std::uint32_t bits = 0;
    if (!Fill(sizeof bits)) {
      return false;
    }
    std::memcpy(&bits, Take(sizeof bits), sizeof bits);
    value = static_cast<std::int32_t>(ntohl(bits));
    return true;
  }

  // nullopt for the null string and at the end of the stream. Valid until the next call.
  std::optional<std::string_view> ReadString() {
    std::int32_t length = 0;
    if (!ReadInt(length) || length < 0 || !Fill(static_cast<std::size_t>(length))) {
      return std::nullopt;
    }
    return std::string_view(Take(static_cast<std::size_t>(length)),
                            static_cast<std::size_t>(length));
  }

 private:
  const char* Take(std::size_t length) {
    m_Begin += length;
    return m_Block.data() + m_Begin - length;
  }

  bool Fill(std::size_t needed) {
    if (m_End - m_Begin >= needed) {
      return true;
    }
    std::memmove(m_Block.data(), m_Block.data() + m_Begin, m_End - m_Begin);
    m_End -= m_Begin;
    m_Begin = 0;
    m_Block.resize(std::max(m_Block.size(), needed + kBlockSize));
    while (m_End < needed) {
      const auto length = ::recv(m_Connection, m_Block.data() + m_End, kBlockSize, 0);
      if (length <= 0) {
        return false;
      }
      m_End += static_cast<std::size_t>(length);
    }
    return true;
  }

  const Connection m_Connection;
  std::vector<char> m_Block;
  std::size_t m_Begin = 0;
  std::size_t m_End = 0;
};
