#include <stdexcept>

#include "Loopback.h"
#include "platform/Socket.h"

namespace {

struct SocketTest : testing::Test {
  SocketStartup m_Startup;
  FarEnd m_FarEnd;
  Socket m_Socket{"127.0.0.1", m_FarEnd.GetPort(), SOCK_STREAM, AF_INET, 0};
  char m_Octet = 0;
  SocketTest() {
    EXPECT_TRUE(m_Socket.IsConnected());
    m_FarEnd.Accept();
  }
  void ExpectFailure(int32_t result) {
    EXPECT_EQ(result, -1);
    EXPECT_NE(m_Socket.GetError(), 0U);
    EXPECT_EQ(WSAGetLastError(), 0);
  }
};

}  // namespace

TEST_F(SocketTest, CarriesBytesBothWaysUntilThePeerCloses) {
  EXPECT_EQ(m_Socket.Send("xyz", 3, 0), 3);
  m_FarEnd.SendLast("ab");
  EXPECT_EQ(m_Socket.Receive(&m_Octet, 1, 0), 1);
  EXPECT_EQ(m_Socket.Receive(&m_Octet, 1, 0), 1);
  EXPECT_EQ(m_Octet, 'b');
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(m_Socket.Receive(&m_Octet, 1, 0), 0);
    EXPECT_FALSE(m_Socket.IsConnected());
    EXPECT_EQ(m_Socket.GetError(), 0U);
  }
  EXPECT_TRUE(m_Socket.Create(SOCK_STREAM, AF_INET, 0));  // instead of the handle it held
  EXPECT_EQ(m_FarEnd.ReceiveAll(), "xyz");
  EXPECT_FALSE(m_Socket.IsConnected());
  if (gethostbyname("localhost") == nullptr) {
    GTEST_SKIP() << "this system knows no names, not even its own";
  }
  EXPECT_EQ(m_Socket.Connect("localhost", m_FarEnd.GetPort()), 0);
  EXPECT_TRUE(m_Socket.IsConnected());
}

TEST_F(SocketTest, KeepsTheErrorOfAFailure) {
  m_FarEnd.Reset();
  const int32_t received = m_Socket.Receive(&m_Octet, 1, 0);
  EXPECT_FALSE(m_Socket.IsConnected());
  if (kReceiveTellsReset || received != 0) {
    ExpectFailure(received);
    EXPECT_EQ(m_Socket.GetError(), static_cast<uint32_t>(WSAECONNRESET));
  }
  EXPECT_TRUE(m_Socket.Create(SOCK_STREAM, AF_INET, 0));
  EXPECT_EQ(m_Socket.GetError(), 0U);
  ExpectFailure(m_Socket.Receive(&m_Octet, 1, 0));
  EXPECT_EQ(m_Socket.GetError(), static_cast<uint32_t>(WSAENOTCONN));
  ExpectFailure(m_Socket.Connect("127.0.0.1", m_FarEnd.GetPort()));
  EXPECT_EQ(m_Socket.GetError(), static_cast<uint32_t>(WSAECONNREFUSED));
  // Longer than any name may be, so that no name server is asked.
  ExpectFailure(m_Socket.Connect(string(300, 'a').c_str(), 1));
  EXPECT_FALSE(m_Socket.Create(SOCK_STREAM, -1, 0));
  ExpectFailure(-1);
}

TEST_F(SocketTest, DoesNothingWithoutAHandle) {
  for (int i = 0; i < 2; ++i) {
    m_Socket.Close();
    EXPECT_FALSE(m_Socket.IsConnected());
    EXPECT_EQ(m_Socket.Send("x", 1, 0), -1);
    EXPECT_EQ(m_Socket.Receive(&m_Octet, 1, 0), -1);
    EXPECT_EQ(m_Socket.Connect("127.0.0.1", m_FarEnd.GetPort()), -1);
    EXPECT_EQ(m_Socket.GetError(), 0U);
  }
  EXPECT_EQ(m_FarEnd.ReceiveAll(), "");
}

TEST(SocketStartup, ReleasesWhatItStartedHoweverItsScopeIsLeft) {
  const auto works = [] {
    const Socket socket("127.0.0.1", 0, SOCK_STREAM, AF_INET, 0);
    return socket.GetError() != static_cast<uint32_t>(WSANOTINITIALISED);
  };
  EXPECT_FALSE(works());
  try {
    const SocketStartup outer;
    { const SocketStartup inner; }
    EXPECT_TRUE(works());
    throw std::runtime_error("leaves the scope");
  } catch (const std::runtime_error&) {
    EXPECT_FALSE(works());
  }
  EXPECT_EQ(InitialiseSockets(), 0);
  EXPECT_TRUE(works());
  EXPECT_EQ(CleanupSockets(), 0);
  EXPECT_NE(CleanupSockets(), 0);
}
