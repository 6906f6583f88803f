// Blocking streams: the calls' codes, and that bytes keep their order and leave when they must.
#include <functional>
#include <thread>

#include "Peer.h"

TEST_F(Sockets, EveryStateHasItsErrors) {
  EXPECT_TRUE(Fails(Receive(m_Byte) >= 0, WSAENOTCONN));
  EXPECT_TRUE(Fails(shutdown(m_Socket, SD_BOTH) == 0, WSAENOTCONN));
  Peer peer;
  Join(peer);
  EXPECT_TRUE(Fails(peer.Join(m_Socket) == 0, WSAEISCONN));
  EXPECT_EQ(shutdown(m_Socket, SD_BOTH), 0);
  EXPECT_TRUE(Fails(Send("x") >= 0, WSAESHUTDOWN));
  EXPECT_TRUE(Fails(Receive(m_Byte) >= 0, WSAESHUTDOWN));
  Join(peer);
  peer.Send("ab");
  peer.Close();
  EXPECT_EQ(ReceiveText(3), "ab");
  EXPECT_EQ(Receive(m_Byte), 0);  // the end stays one
  closesocket(std::exchange(m_Socket, Create()));
  peer.StopListening();
  EXPECT_TRUE(Fails(peer.Join(m_Socket) == 0, WSAECONNREFUSED));
  // Longer than any name may be, so that no name server is asked.
  EXPECT_TRUE(Fails(gethostbyname(std::string(300, 'a').c_str()) != nullptr, WSAHOST_NOT_FOUND));
  EXPECT_NE(gethostbyname("localhost"), nullptr);
  EXPECT_EQ(WSAGetLastError(), 0);
  EXPECT_EQ(WSACleanup(), 0);
  EXPECT_TRUE(Fails(WSACleanup() == 0, WSANOTINITIALISED));
  EXPECT_TRUE(Fails(Create() != INVALID_SOCKET, WSANOTINITIALISED));
  WSADATA data = {};
  EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
}

TEST_F(Sockets, BytesKeepTheirOrderBothWaysInWhateverPieces) {
  for (const std::size_t piece : {1u, 4u, 32767u, 32768u, 32769u, 300000u}) {
    Peer peer;
    Join(peer);
    std::string text(piece <= 4 ? 66000 : 300000, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31 + i / 251);
    std::thread echo([&] { peer.Send(peer.Receive(text.size())); });
    for (std::size_t at = 0; at < text.size(); at += piece) {
      EXPECT_GT(Send(text.substr(at, piece)), 0);
    }
    EXPECT_TRUE(ReceiveText(text.size(), piece) == text) << piece;
    echo.join();
  }
}

// The peer gets what was sent as soon as the sender does any of these, and it answers only then.
TEST_F(Sockets, BytesSentLeaveBeforeAnythingThatWaits) {
  Peer other;
  SOCKET elsewhere = Create();
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"connect", [&] { other.Join(elsewhere); }},
      {"resolve", [] { gethostbyname("127.0.0.1"); }},
      {"shutdown", [&] { shutdown(m_Socket, SD_BOTH); }},
      {"close", [&] { closesocket(std::exchange(m_Socket, Create())); }},
      {"sleep", [] { Sleep(1); }},
      {"wait", [] { WaitForSingleObject(HANDLE{}, 0); }},
      {"send elsewhere", [&] {
         std::swap(m_Socket, elsewhere);
         Send("s");
         std::swap(m_Socket, elsewhere);
       }}};
  for (const auto& [name, act] : rows) {
    Peer peer;
    Join(peer);
    EXPECT_EQ(Send("a") + Send("bc"), 3);
    act();
    EXPECT_EQ(peer.Receive(3), "abc") << name;
  }
  closesocket(elsewhere);
  Peer peer;
  Join(peer);
  std::thread answer([&] { peer.Send(peer.Receive(2) + "!?"); });
  EXPECT_EQ(Send("q") + Send("r"), 2);
  EXPECT_EQ(ReceiveText(3), "qr!");
  answer.join();
  EXPECT_EQ(Send("z"), 1);
  EXPECT_EQ(ReceiveText(1), "?");  // which has been here for long
  EXPECT_EQ(peer.Receive(1), "z");
}
