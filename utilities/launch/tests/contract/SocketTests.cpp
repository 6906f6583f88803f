// Blocking streams: the calls' codes, and that bytes keep their order and leave when they must.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>

#include "Contract.h"

namespace {

// The far side: a listener on a free port, and the connection it accepted.
class Peer {
 public:
  Peer() : m_Listener(::socket(AF_INET, SOCK_STREAM, 0)) {
    m_Address.sin_family = AF_INET;
    m_Address.sin_addr.s_addr = inet_addr("127.0.0.1");
    ::bind(m_Listener, reinterpret_cast<sockaddr*>(&m_Address), sizeof m_Address);
    decltype(LengthOf(&::getsockname)) length = sizeof m_Address;
    ::getsockname(m_Listener, reinterpret_cast<sockaddr*>(&m_Address), &length);
    ::listen(m_Listener, 5);
  }
  ~Peer() {
    Close();
    ClosePeer(m_Listener);
  }

  const sockaddr_in& Address() const { return m_Address; }
  void Accept() {
    m_Connection = ::accept(m_Listener, nullptr, nullptr);
    m_IsOpen = true;
  }
  void Send(const std::string& text) const {
    for (std::size_t at = 0; at < text.size();) {
      const auto sent =
          ::send(m_Connection, text.data() + at, static_cast<int>(text.size() - at), 0);
      ASSERT_GT(sent, 0);
      at += static_cast<std::size_t>(sent);
    }
  }
  // Fewer bytes at the end of the stream.
  std::string Receive(std::size_t length) const {
    std::string text(length, '\0');
    std::size_t at = 0;
    while (at < length) {
      const auto got = ::recv(m_Connection, text.data() + at, static_cast<int>(length - at), 0);
      if (got <= 0) {
        break;
      }
      at += static_cast<std::size_t>(got);
    }
    return text.substr(0, at);
  }
  void Close() {
    if (m_IsOpen) {
      ClosePeer(m_Connection);
    }
    m_IsOpen = false;
  }
  void Reset() {
    linger none = {};
    none.l_onoff = 1;
    ::setsockopt(m_Connection, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&none),
                 sizeof none);
    Close();
  }

 private:
  // The type of a socket address's length, which the platforms name differently.
  template <typename S, typename A, typename L, bool N>
  static L LengthOf(int (*)(S, A, L*) noexcept(N));

  sockaddr_in m_Address = {};
  PeerSocket m_Listener;
  PeerSocket m_Connection = {};
  bool m_IsOpen = false;
};

class Sockets : public testing::Test {
 protected:
  void SetUp() override {
    WSADATA data = {};
    ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    ASSERT_EQ(data.wVersion, MAKEWORD(2, 2));
    m_Socket = Create();
  }
  void TearDown() override {
    closesocket(m_Socket);
    EXPECT_EQ(WSACleanup(), 0);
  }

  static SOCKET Create() {
    return WSASocketA(AF_INET, SOCK_STREAM, 0, nullptr, 0, WSA_FLAG_OVERLAPPED);
  }
  static int Connect(SOCKET socket, const sockaddr_in& address) {
    return WSAConnect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address, nullptr,
                      nullptr, nullptr, nullptr);
  }
  void Join(Peer& peer) const {
    ASSERT_EQ(Connect(m_Socket, peer.Address()), 0) << WSAGetLastError();
    peer.Accept();
  }
  int Send(const std::string& text) const {
    WSABUF buffer = {};
    buffer.len = static_cast<decltype(buffer.len)>(text.size());
    buffer.buf = const_cast<char*>(text.data());
    DWORD sent = 0;
    return WSASend(m_Socket, &buffer, 1, &sent, 0, nullptr, nullptr) == 0 ? static_cast<int>(sent)
                                                                          : -1;
  }
  int Receive(char* bytes, std::size_t capacity) const {
    WSABUF buffer = {};
    buffer.len = static_cast<decltype(buffer.len)>(capacity);
    buffer.buf = bytes;
    DWORD received = 0;
    DWORD flags = 0;
    return WSARecv(m_Socket, &buffer, 1, &received, &flags, nullptr, nullptr) == 0
               ? static_cast<int>(received)
               : -1;
  }
  // Byte by c; fewer at the end of the stream or on an error.
  std::string ReceiveText(std::size_t length) const {
    std::string text;
    for (char c = 0; text.size() < length && Receive(&c, 1) == 1;) {
      text += c;
    }
    return text;
  }

  SOCKET m_Socket = INVALID_SOCKET;
};

std::string Pattern(std::size_t length) {
  std::string text(length, '\0');
  for (std::size_t i = 0; i < length; ++i) {
    text[i] = static_cast<char>(i * 31 + i / 251);
  }
  return text;
}

}  // namespace

TEST(SocketStart, CountsAndRefuses) {
  WSADATA data = {};
  EXPECT_EQ(WSAStartup(MAKEWORD(0, 0), &data), WSAVERNOTSUPPORTED);
  EXPECT_EQ(WSACleanup(), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
  EXPECT_EQ(WSASocketA(AF_INET, SOCK_STREAM, 0, nullptr, 0, 1), INVALID_SOCKET);
  EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
  EXPECT_EQ(gethostbyname("127.0.0.1"), nullptr);
  EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
  EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
  EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
  EXPECT_EQ(WSACleanup(), 0);
  const SOCKET socket = WSASocketA(AF_INET, SOCK_STREAM, 0, nullptr, 0, 1);
  EXPECT_NE(socket, INVALID_SOCKET);
  EXPECT_EQ(WSACleanup(), 0);
  EXPECT_EQ(closesocket(socket), SOCKET_ERROR);
  EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
}

TEST_F(Sockets, CreationRefusesWhatIsNoIpv4Stream) {
  const struct {
    int family, type, protocol, error;
  } rows[] = {{77, SOCK_STREAM, 0, WSAEAFNOSUPPORT},
              {AF_INET, 77, 0, WSAESOCKTNOSUPPORT},
              {AF_INET, SOCK_STREAM, 77, WSAEPROTONOSUPPORT}};
  for (const auto& row : rows) {
    EXPECT_EQ(WSASocketA(row.family, row.type, row.protocol, nullptr, 0, 1), INVALID_SOCKET);
    EXPECT_EQ(WSAGetLastError(), row.error);
  }
}

TEST_F(Sockets, EveryStateHasItsErrors) {
  Peer peer;
  char c = 0;
  const auto expect = [](int result, int error) {
    EXPECT_EQ(result, SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), error);
  };
  EXPECT_EQ(Send("x"), -1);
  expect(Receive(&c, 1), WSAENOTCONN);
  expect(shutdown(m_Socket, SD_BOTH), WSAENOTCONN);
  sockaddr_in address = peer.Address();
  {
    Peer gone;
    address = gone.Address();
  }
  expect(Connect(m_Socket, address), WSAECONNREFUSED);
  EXPECT_EQ(closesocket(m_Socket), 0);
  m_Socket = Create();
  Join(peer);
  expect(Connect(m_Socket, peer.Address()), WSAEISCONN);
  expect(shutdown(m_Socket, 3), WSAEINVAL);
  EXPECT_EQ(shutdown(m_Socket, SD_SEND), 0);
  expect(Send("x"), WSAESHUTDOWN);
  peer.Send("y");
  EXPECT_EQ(Receive(&c, 1), 1);
  EXPECT_EQ(shutdown(m_Socket, SD_BOTH), 0);
  expect(Receive(&c, 1), WSAESHUTDOWN);
  EXPECT_EQ(closesocket(m_Socket), 0);
  const SOCKET next = Create();
  EXPECT_NE(next, INVALID_SOCKET);
  for (int round = 0; round < 2; ++round) {
    expect(closesocket(m_Socket == next ? INVALID_SOCKET : m_Socket), WSAENOTSOCK);
  }
  EXPECT_EQ(closesocket(next), 0);
  expect(Send("x"), WSAENOTSOCK);
  expect(Receive(&c, 1), WSAENOTSOCK);
  expect(Connect(m_Socket, address), WSAENOTSOCK);
}

TEST_F(Sockets, BytesKeepTheirOrderBothWaysInWhateverPieces) {
  for (const std::size_t piece : {1u, 4096u, 65535u, 65536u, 65537u, 300000u}) {
    SCOPED_TRACE(piece);
    Peer peer;
    m_Socket = Create();
    Join(peer);
    const std::string text = Pattern(piece == 1 ? 66000 : 300000);
    std::thread echo([&] { peer.Send(peer.Receive(text.size())); });
    for (std::size_t at = 0; at < text.size(); at += piece) {
      const std::string part = text.substr(at, piece);
      ASSERT_EQ(Send(part), static_cast<int>(part.size()));
    }
    std::string received;
    std::string part(piece, '\0');
    while (received.size() < text.size()) {
      const int length = Receive(part.data(), piece);
      ASSERT_GT(length, 0);
      received.append(part, 0, static_cast<std::size_t>(length));
    }
    echo.join();
    EXPECT_TRUE(received == text);
    EXPECT_EQ(closesocket(m_Socket), 0);
  }
}

TEST_F(Sockets, EndOfStreamComesAfterTheDataAndStays) {
  Peer peer;
  Join(peer);
  peer.Send("abc");
  peer.Close();
  char c = 0;
  EXPECT_EQ(ReceiveText(3), "abc");
  EXPECT_EQ(Receive(&c, 1), 0);
  EXPECT_EQ(Receive(&c, 1), 0);
}

TEST_F(Sockets, ResetComesAfterTheDataAndStays) {
  if (!CanPeerReset()) {
    GTEST_SKIP() << "this system ends the stream before it resets";
  }
  Peer peer;
  Join(peer);
  peer.Send("abc");
  EXPECT_EQ(ReceiveText(3), "abc");
  peer.Reset();
  char c = 0;
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Receive(&c, 1), -1);
    EXPECT_EQ(WSAGetLastError(), WSAECONNRESET);
  }
  EXPECT_EQ(Send("x"), -1);
}

TEST_F(Sockets, ASendThatFailedFailsTheNextReceive) {
  if (!CanPeerReset()) {
    GTEST_SKIP() << "this system ends the stream before it resets";
  }
  Peer peer;
  Join(peer);
  peer.Send("unread");
  peer.Reset();
  Sleep(50);
  Send("x");
  Send("y");
  Sleep(50);
  char c = 0;
  int result = 0;
  do {
    result = Receive(&c, 1);
  } while (result == 1);
  EXPECT_EQ(result, -1);
  EXPECT_TRUE(WSAGetLastError() == WSAECONNRESET || WSAGetLastError() == WSAECONNABORTED)
      << WSAGetLastError();
}

// The peer gets what was sent as soon as the sender does any of these, and it answers only then.
TEST_F(Sockets, BytesSentLeaveBeforeAnythingThatWaits) {
  Peer other;
  const SOCKET second = Create();
  ASSERT_EQ(Connect(second, other.Address()), 0);
  other.Accept();
  const HANDLE own = OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId());
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"connect",
       [&] {
         const SOCKET third = Create();
         EXPECT_EQ(Connect(third, other.Address()), 0);
         closesocket(third);
       }},
      {"shutdown", [&] { EXPECT_EQ(shutdown(m_Socket, SD_SEND), 0); }},
      {"close", [&] { EXPECT_EQ(closesocket(m_Socket), 0); }},
      {"shutdown and close",
       [&] {
         shutdown(m_Socket, SD_BOTH);
         closesocket(m_Socket);
       }},
      {"sleep", [] { Sleep(1); }},
      {"wait", [&] { WaitForSingleObject(own, 1); }},
      {"send elsewhere and receive there", [&] {
         const SOCKET first = m_Socket;
         m_Socket = second;
         EXPECT_EQ(Send("s"), 1);
         EXPECT_EQ(other.Receive(0), "");
         other.Send("t");
         EXPECT_EQ(ReceiveText(1), "t");
         m_Socket = first;
       }}};
  for (const auto& [name, act] : rows) {
    SCOPED_TRACE(name);
    Peer peer;
    m_Socket = Create();
    Join(peer);
    EXPECT_EQ(Send("a"), 1);
    EXPECT_EQ(Send("bc"), 2);
    act();
    EXPECT_EQ(peer.Receive(3), "abc");
    closesocket(m_Socket);
  }
  Peer peer;
  m_Socket = Create();
  Join(peer);
  std::thread answer([&] {
    peer.Send(peer.Receive(2) + "!?");
    peer.Send(peer.Receive(1));
  });
  EXPECT_EQ(Send("q"), 1);
  EXPECT_EQ(Send("r"), 1);
  EXPECT_EQ(ReceiveText(1), "q");
  EXPECT_EQ(Send("z"), 1);  // sent while the answer lies here unread
  EXPECT_EQ(ReceiveText(4), "r!?z");
  answer.join();
  closesocket(second);
  CloseHandle(own);
}

TEST_F(Sockets, NamesBecomeAddresses) {
  WSASetLastError(WSAENOTCONN);
  const hostent* host = gethostbyname("127.0.0.1");
  ASSERT_NE(host, nullptr);
  EXPECT_EQ(WSAGetLastError(), 0);
  EXPECT_EQ(std::memcmp(host->h_addr_list[0], "\x7F\0\0\1", 4), 0);
  EXPECT_NE(gethostbyname("localhost"), nullptr);
  EXPECT_EQ(gethostbyname(std::string(300, 'x').c_str()), nullptr);
  EXPECT_GE(WSAGetLastError(), WSAHOST_NOT_FOUND);
  EXPECT_EQ(inet_addr("127.0.0.1"), htonl(0x7F000001));
  EXPECT_EQ(inet_addr("localhost"), INADDR_NONE);
}
