#include <stdexcept>

#include "Loopback.h"
#include "platform/Socket.h"

namespace {

struct SocketTest : testing::Test {
  SocketStartup m_Startup;
  Listener m_Listener;
  char m_Octet = 0;
  Socket Connected() { return {"127.0.0.1", m_Listener.GetPort(), SOCK_STREAM, AF_INET, 0}; }
};

void ExpectFailed(const Socket& socket, int32_t result) {
  EXPECT_EQ(result, -1);
  EXPECT_NE(socket.GetError(), 0U);
  EXPECT_EQ(WSAGetLastError(), 0);
}

}  // namespace

TEST_F(SocketTest, CarriesBytesBothWaysUntilThePeerCloses) {
  Socket socket = Connected();
  ASSERT_TRUE(socket.IsConnected());
  Peer peer(m_Listener);
  EXPECT_EQ(socket.Send("xyz", 3, 0), 3);
  peer.SendLast("ab");
  EXPECT_EQ(socket.Receive(&m_Octet, 1, 0), 1);
  EXPECT_EQ(socket.Receive(&m_Octet, 1, 0), 1);
  EXPECT_EQ(m_Octet, 'b');
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(socket.Receive(&m_Octet, 1, 0), 0);
    EXPECT_FALSE(socket.IsConnected());
    EXPECT_EQ(socket.GetError(), 0U);
  }
  EXPECT_TRUE(socket.Create(SOCK_STREAM, AF_INET, 0));  // instead of the handle it held
  EXPECT_EQ(peer.ReceiveAll(), "xyz");
  EXPECT_FALSE(socket.IsConnected());
  EXPECT_EQ(socket.Connect("localhost", m_Listener.GetPort()), 0);
  EXPECT_TRUE(socket.IsConnected());
}

TEST_F(SocketTest, KeepsTheErrorOfAFailureWithTheSocket) {
  Socket socket = Connected();
  Peer(m_Listener).Reset();
  const int32_t received = socket.Receive(&m_Octet, 1, 0);
  EXPECT_FALSE(socket.IsConnected());
  if (kReceiveTellsReset || received != 0) {
    ExpectFailed(socket, received);
    EXPECT_EQ(socket.GetError(), static_cast<uint32_t>(WSAECONNRESET));
  }
  // Longer than any name may be, so that no name server is asked.
  ExpectFailed(socket, socket.Connect(string(300, 'a').c_str(), 1));
  EXPECT_FALSE(socket.Create(SOCK_STREAM, -1, 0));
  ExpectFailed(socket, -1);
  m_Listener.Close();
  Socket refused = Connected();
  EXPECT_FALSE(refused.IsConnected());
  EXPECT_EQ(refused.GetError(), static_cast<uint32_t>(WSAECONNREFUSED));
  ExpectFailed(refused, refused.Connect("127.0.0.1", m_Listener.GetPort()));
  ExpectFailed(refused, refused.Receive(&m_Octet, 1, 0));
}

TEST_F(SocketTest, DoesNothingWithoutAHandle) {
  Socket socket = Connected();
  Peer peer(m_Listener);
  for (int i = 0; i < 2; ++i) {
    socket.Close();
    EXPECT_FALSE(socket.IsConnected());
    EXPECT_EQ(socket.Send("x", 1, 0), -1);
    EXPECT_EQ(socket.Receive(&m_Octet, 1, 0), -1);
    EXPECT_EQ(socket.Connect("127.0.0.1", m_Listener.GetPort()), -1);
    EXPECT_EQ(socket.GetError(), 0U);
  }
  EXPECT_EQ(peer.ReceiveAll(), "");
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
