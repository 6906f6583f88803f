// Blocking streams: the calls' codes, and that bytes keep their order and leave when they must.
#include <functional>
#include <thread>
#include <utility>

#include "Peer.h"

namespace {

SOCKET Create(int family = AF_INET, int type = SOCK_STREAM) {
  return WSASocketA(family, type, 0, nullptr, 0, WSA_FLAG_OVERLAPPED);
}

// The count, -1 on an error.
int Send(SOCKET socket, std::string text) {
  WSABUF buffer = {static_cast<DWORD>(text.size()), text.data()};
  DWORD sent = 0;
  return WSASend(socket, &buffer, 1, &sent, 0, nullptr, nullptr) ? -1 : static_cast<int>(sent);
}

int Receive(SOCKET socket, std::string& bytes) {
  WSABUF buffer = {static_cast<DWORD>(bytes.size()), bytes.data()};
  DWORD got = 0, flags = 0;
  const int result = WSARecv(socket, &buffer, 1, &got, &flags, nullptr, nullptr);
  return result == 0 ? static_cast<int>(got) : result;
}

// In calls of at most so many bytes; fewer at the end of the stream or on an error.
std::string ReceiveText(SOCKET socket, std::size_t length, std::size_t piece = 1) {
  std::string text, bytes(piece, '\0');
  for (int got = 1; got > 0 && text.size() < length;) {
    got = Receive(socket, bytes);
    text.append(bytes, 0, got > 0 ? static_cast<std::size_t>(got) : 0);
  }
  return text;
}

class Sockets : public testing::Test {
 protected:
  Sockets() {
    WSADATA data = {};
    EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    m_Socket = Create();
  }
  ~Sockets() override {
    Close();
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_TRUE(Fails(Create() != INVALID_SOCKET, WSANOTINITIALISED));
    EXPECT_TRUE(Fails(WSACleanup() == 0, WSANOTINITIALISED));
  }
  void Close() {
    if (m_Socket != INVALID_SOCKET) closesocket(std::exchange(m_Socket, INVALID_SOCKET));
  }
  // A new socket, connected to the peer.
  void Join(Peer& peer) {
    Close();
    m_Socket = Create();
    ASSERT_EQ(peer.Join(m_Socket), 0) << WSAGetLastError();
  }

  SOCKET m_Socket = INVALID_SOCKET;
  std::string m_Byte = "?";
};

}  // namespace

TEST_F(Sockets, EveryStateHasItsErrors) {
  EXPECT_TRUE(Fails(Create(99) != INVALID_SOCKET, WSAEAFNOSUPPORT));
  EXPECT_TRUE(Fails(Create(AF_INET, 99) != INVALID_SOCKET, WSAESOCKTNOSUPPORT));
  EXPECT_TRUE(Fails(Receive(m_Socket, m_Byte) >= 0, WSAENOTCONN));
  EXPECT_TRUE(Fails(shutdown(m_Socket, SD_BOTH) == 0, WSAENOTCONN));
  Peer peer;
  Join(peer);
  EXPECT_TRUE(Fails(peer.Join(m_Socket) == 0, WSAEISCONN));
  EXPECT_EQ(shutdown(m_Socket, SD_BOTH), 0);
  EXPECT_TRUE(Fails(Send(m_Socket, "x") >= 0, WSAESHUTDOWN));
  EXPECT_TRUE(Fails(Receive(m_Socket, m_Byte) >= 0, WSAESHUTDOWN));
  EXPECT_EQ(closesocket(m_Socket), 0);
  m_Socket = Create();
  peer.StopListening();
  EXPECT_TRUE(Fails(peer.Join(m_Socket) == 0, WSAECONNREFUSED));
  // Longer than any name may be, so that no name server is asked.
  EXPECT_TRUE(Fails(gethostbyname(std::string(300, 'a').c_str()) != nullptr, WSAHOST_NOT_FOUND));
  EXPECT_NE(gethostbyname("localhost"), nullptr);
  EXPECT_EQ(WSAGetLastError(), 0);
}

TEST_F(Sockets, AnEndStaysOne) {
  Peer peer;
  Join(peer);
  peer.Send("ab");
  peer.Close();
  EXPECT_EQ(ReceiveText(m_Socket, 3), "ab");
  EXPECT_EQ(Receive(m_Socket, m_Byte), 0);
  EXPECT_EQ(Receive(m_Socket, m_Byte), 0);
}

TEST_F(Sockets, BytesKeepTheirOrderBothWaysInWhateverPieces) {
  for (const std::size_t piece : {1u, 4u, 32767u, 32768u, 32769u, 300000u}) {
    Peer peer;
    Join(peer);
    std::string text(piece <= 4 ? 66000 : 300000, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31 + i / 251);
    std::thread echo([&] { peer.Send(peer.Receive(text.size())); });
    for (std::size_t at = 0; at < text.size(); at += piece) {
      EXPECT_GT(Send(m_Socket, text.substr(at, piece)), 0);
    }
    EXPECT_TRUE(ReceiveText(m_Socket, text.size(), piece) == text) << piece;
    echo.join();
  }
}

// The peer gets what was sent as soon as the sender does any of these, and it answers only then.
TEST_F(Sockets, BytesSentLeaveBeforeAnythingThatWaits) {
  Peer other;
  const SOCKET second = Create(), third = Create();
  ASSERT_EQ(other.Join(second), 0);
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"connect", [&] { Peer().Join(third); }},
      {"shutdown", [&] { shutdown(m_Socket, SD_SEND); }},
      {"close", [&] { Close(); }},
      {"sleep", [] { Sleep(1); }},
      {"send elsewhere", [&] { Send(second, "s"); }}};
  for (const auto& [name, act] : rows) {
    Peer peer;
    Join(peer);
    EXPECT_EQ(Send(m_Socket, "a") + Send(m_Socket, "bc"), 3);
    act();
    EXPECT_EQ(peer.Receive(3), "abc") << name;
  }
  closesocket(second);
  closesocket(third);
  Peer peer;
  Join(peer);
  std::thread answer([&] { peer.Send(peer.Receive(2) + "!?"); });
  EXPECT_EQ(Send(m_Socket, "q") + Send(m_Socket, "r"), 2);
  EXPECT_EQ(ReceiveText(m_Socket, 3), "qr!");
  answer.join();
  EXPECT_EQ(Send(m_Socket, "z"), 1);
  EXPECT_EQ(ReceiveText(m_Socket, 1), "?");  // which has been here for long
  EXPECT_EQ(peer.Receive(1), "z");
}
