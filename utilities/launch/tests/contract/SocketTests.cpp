// Blocking streams: the calls' codes, and that bytes keep their order.
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
  EXPECT_EQ(gethostbyname(std::string(300, 'a').c_str()), nullptr);
  EXPECT_NE(gethostbyname("localhost"), nullptr);
  EXPECT_EQ(WSACleanup(), 0);
  EXPECT_TRUE(Fails(WSACleanup() == 0, WSANOTINITIALISED));
  EXPECT_TRUE(Fails(Create() != INVALID_SOCKET, WSANOTINITIALISED));
  WSADATA data = {};
  EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
}

TEST_F(Sockets, BytesKeepTheirOrderBothWaysInWhateverPieces) {
  for (const std::size_t piece : {1000u, 300000u}) {
    Peer peer;
    Join(peer);
    std::string text(300000, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31 + i / 251);
    std::thread echo([&] { peer.Send(peer.Receive(text.size())); });
    for (std::size_t at = 0; at < text.size(); at += piece) {
      EXPECT_EQ(Send(text.substr(at, piece)), static_cast<int>(piece));
    }
    EXPECT_TRUE(ReceiveText(text.size(), piece) == text) << piece;
    echo.join();
  }
}
