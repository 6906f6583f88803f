#pragma once
#include <algorithm>
#include <string>
#include <utility>

#include "Support.h"
#include "Platform.h"

// The far side, by the system's own calls: a listener on a free port, and what it accepted.
class Peer {
 public:
  Peer() {
    m_Address.sin_family = AF_INET;
    m_Address.sin_addr.s_addr = inet_addr("127.0.0.1");
    auto* name = reinterpret_cast<sockaddr*>(&m_Address);
    PeerLength length = sizeof m_Address;
    EXPECT_EQ(::bind(m_Listener, name, length), 0);
    EXPECT_EQ(::getsockname(m_Listener, name, &length), 0);
    EXPECT_EQ(::listen(m_Listener, 5), 0);
  }
  ~Peer() {
    Close();
    StopListening();
  }
  // Connects the socket to it.
  int Join(SOCKET socket) {
    const auto* name = reinterpret_cast<const sockaddr*>(&m_Address);
    const int result =
        WSAConnect(socket, name, sizeof m_Address, nullptr, nullptr, nullptr, nullptr);
    if (result == 0) Accept();
    return result;
  }
  void Accept() { m_Connection = ::accept(m_Listener, nullptr, nullptr); }
  std::uint16_t GetPort() const { return ntohs(m_Address.sin_port); }
  void Send(const std::string& text) const {
    const auto length = static_cast<PeerLength>(text.size());
    EXPECT_EQ(static_cast<PeerLength>(::send(m_Connection, text.data(), length, 0)), length);
  }
  // Fewer bytes at the end of the stream.
  std::string Receive(std::size_t length) const {
    std::string text;
    char piece[4096];
    while (text.size() < length) {
      const auto size = static_cast<PeerLength>(std::min(sizeof piece, length - text.size()));
      const auto got = ::recv(m_Connection, piece, size, 0);
      if (got <= 0) break;
      text.append(piece, static_cast<std::size_t>(got));
    }
    return text;
  }
  void Close() { ClosePeer(std::exchange(m_Connection, kNoPeer)); }
  void StopListening() { ClosePeer(std::exchange(m_Listener, kNoPeer)); }

 private:
  sockaddr_in m_Address = {};
  decltype(::socket(0, 0, 0)) m_Listener = ::socket(AF_INET, SOCK_STREAM, 0);
  decltype(::socket(0, 0, 0)) m_Connection = kNoPeer;
};
