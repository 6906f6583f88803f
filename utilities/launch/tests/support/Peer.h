#pragma once
// Sockets under test, and the far side of their connections.

#include <utility>

#include "Support.h"

using PeerSocket = decltype(::socket(0, 0, 0));
constexpr auto kNoPeer = static_cast<PeerSocket>(-1);

// By the system's own calls: a listener on a free port, and what it accepted.
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
  void Accept() {
    Close();
    m_Connection = ::accept(m_Listener, nullptr, nullptr);
  }
  std::uint16_t GetPort() const { return ntohs(m_Address.sin_port); }
  void Send(const std::string& text) const {
    const auto length = static_cast<PeerLength>(text.size());
    EXPECT_EQ(static_cast<PeerLength>(::send(m_Connection, text.data(), length, 0)), length);
  }
  // Fewer bytes at the end of the stream.
  std::string Receive(std::size_t length) const {
    std::string text, piece(length, '\0');
    while (text.size() < length) {
      const auto size = static_cast<PeerLength>(length - text.size());
      const auto got = ::recv(m_Connection, piece.data(), size, 0);
      if (got <= 0) break;
      text.append(piece, 0, static_cast<std::size_t>(got));
    }
    return text;
  }
  // The other side has closed the connection. Waits for that, since a receive might never end.
  bool HasEnded() const {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(m_Connection, &readable);
    timeval limit = {20, 0};
    return ::select(static_cast<int>(m_Connection) + 1, &readable, nullptr, nullptr, &limit) == 1 &&
           Receive(1).empty();
  }
  void Close() { ClosePeer(std::exchange(m_Connection, kNoPeer)); }
  // Closes so that the other side gets a reset.
  void Reset() {
    const linger abort = {1, 0};
    ::setsockopt(m_Connection, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abort),
                 sizeof abort);
    Close();
  }
  void StopListening() { ClosePeer(std::exchange(m_Listener, kNoPeer)); }

 private:
  PeerSocket m_Connection = kNoPeer;
  sockaddr_in m_Address = {};
  PeerSocket m_Listener = ::socket(AF_INET, SOCK_STREAM, 0);
};

class Sockets : public testing::Test {
 protected:
  Sockets() {
    WSADATA data = {};
    EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    EXPECT_EQ(data.wVersion, MAKEWORD(2, 2));
    m_Socket = Create();
  }
  ~Sockets() override {
    closesocket(m_Socket);
    EXPECT_EQ(WSACleanup(), 0);
  }
  static SOCKET Create() {
    return WSASocketA(AF_INET, SOCK_STREAM, 0, nullptr, 0, WSA_FLAG_OVERLAPPED);
  }
  // A new socket, connected to the peer.
  void Join(Peer& peer) {
    closesocket(std::exchange(m_Socket, Create()));
    ASSERT_EQ(peer.Join(m_Socket), 0) << WSAGetLastError();
  }
  // The count of bytes moved, -1 on an error.
  int Send(std::string text) {
    WSABUF buffer = {static_cast<DWORD>(text.size()), text.data()};
    DWORD sent = 0;
    const int result = WSASend(m_Socket, &buffer, 1, &sent, 0, nullptr, nullptr);
    return result == 0 ? static_cast<int>(sent) : -1;
  }
  int Receive() {
    WSABUF buffer = {static_cast<DWORD>(m_Bytes.size()), m_Bytes.data()};
    DWORD got = 0, flags = 0;
    const int result = WSARecv(m_Socket, &buffer, 1, &got, &flags, nullptr, nullptr);
    return result == 0 ? static_cast<int>(got) : -1;
  }

  SOCKET m_Socket = INVALID_SOCKET;
  std::string m_Bytes = "what Receive receives";
};
