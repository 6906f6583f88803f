// Blocking streams: the codes of the calls. RulesTest.cpp has what the launcher sends by them.
#include "Peer.h"

TEST_F(Sockets, EveryStateHasItsErrors) {
  EXPECT_TRUE(Fails(Receive() >= 0, WSAENOTCONN));
  EXPECT_TRUE(Fails(shutdown(m_Socket, SD_BOTH) == 0, WSAENOTCONN));
  Peer peer;
  Join(peer);
  EXPECT_TRUE(Fails(peer.Join(m_Socket) == 0, WSAEISCONN));
  EXPECT_EQ(shutdown(m_Socket, SD_BOTH), 0);
  EXPECT_TRUE(Fails(Send("x") >= 0, WSAESHUTDOWN));
  EXPECT_TRUE(Fails(Receive() >= 0, WSAESHUTDOWN));
  Join(peer);
  peer.Send("ab");
  peer.Close();
  EXPECT_TRUE(Receive() == 2 && m_Bytes.substr(0, 2) == "ab");
  EXPECT_EQ(Receive(), 0);  // the end stays one
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
