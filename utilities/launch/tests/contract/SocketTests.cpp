// Blocking streams: the calls' codes, and that bytes keep their order and leave when they must.
#include <cstring>
#include <functional>
#include <thread>
#include <utility>

#include "Contract.h"

namespace {

// The far side: a listener on a free port, and the connection it accepted.
class Peer {
 public:
  Peer() : m_Listener(::socket(AF_INET, SOCK_STREAM, 0)) {
    m_Address.sin_family = AF_INET;
    m_Address.sin_addr.s_addr = inet_addr("127.0.0.1");
    auto* name = reinterpret_cast<sockaddr*>(&m_Address);
    decltype(LengthOf(&::getsockname)) length = sizeof m_Address;
    EXPECT_EQ(::bind(m_Listener, name, sizeof m_Address), 0);
    EXPECT_EQ(::getsockname(m_Listener, name, &length), 0);
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
    for (std::size_t at = 0; at < text.size(); at += kBlock) {
      const Length length = Block(text.size() - at);
      EXPECT_EQ(::send(m_Connection, text.data() + at, length, 0), length);
    }
  }
  // Fewer bytes at the end of the stream.
  std::string Receive(std::size_t length) const {
    std::string text;
    for (char block[kBlock]; text.size() < length;) {
      const auto got = ::recv(m_Connection, block, Block(length - text.size()), 0);
      if (got <= 0) {
        break;
      }
      text.append(block, static_cast<std::size_t>(got));
    }
    return text;
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
  // Lengths are of a type that becomes whatever the platform takes.
  using Length = unsigned short;
  static constexpr std::size_t kBlock = 4096;
  static Length Block(std::size_t length) { return static_cast<Length>(std::min(kBlock, length)); }
  // The type of a socket address's length, which the platforms name differently.
  template <typename S, typename A, typename L, bool N>
  static L LengthOf(int (*)(S, A, L*) noexcept(N));

  sockaddr_in m_Address = {};
  PeerSocket m_Listener;
  PeerSocket m_Connection = {};
  bool m_IsOpen = false;
};

SOCKET Create(int family = AF_INET, int type = SOCK_STREAM, int protocol = 0) {
  return WSASocketA(family, type, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED);
}

int Connect(SOCKET socket, const sockaddr_in& address) {
  return WSAConnect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address, nullptr,
                    nullptr, nullptr, nullptr);
}

WSABUF Buffer(char* bytes, std::size_t length) {
  WSABUF buffer = {};
  buffer.len = static_cast<decltype(buffer.len)>(length);
  buffer.buf = bytes;
  return buffer;
}

// The count, -1 on an error.
int Send(SOCKET socket, const std::string& text) {
  WSABUF buffer = Buffer(const_cast<char*>(text.data()), text.size());
  DWORD sent = 0;
  const int result = WSASend(socket, &buffer, 1, &sent, 0, nullptr, nullptr);
  return result == 0 ? static_cast<int>(sent) : result;
}

int Receive(SOCKET socket, char* bytes, std::size_t capacity = 1) {
  WSABUF buffer = Buffer(bytes, capacity);
  DWORD received = 0;
  DWORD flags = 0;
  const int result = WSARecv(socket, &buffer, 1, &received, &flags, nullptr, nullptr);
  return result == 0 ? static_cast<int>(received) : result;
}

// Byte by byte; fewer at the end of the stream or on an error.
std::string ReceiveText(SOCKET socket, std::size_t length) {
  std::string text;
  for (char c = 0; text.size() < length && Receive(socket, &c) == 1;) {
    text += c;
  }
  return text;
}

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
  void Join(Peer& peer) {
    closesocket(m_Socket);
    m_Socket = Create();
    ASSERT_EQ(Connect(m_Socket, peer.Address()), 0) << WSAGetLastError();
    peer.Accept();
  }

  SOCKET m_Socket = INVALID_SOCKET;
};

}  // namespace

TEST(SocketStart, CountsAndRefuses) {
  WSADATA data = {};
  EXPECT_EQ(WSAStartup(MAKEWORD(0, 0), &data), WSAVERNOTSUPPORTED);
  EXPECT_TRUE(Fails(WSACleanup() == 0, WSANOTINITIALISED));
  EXPECT_TRUE(Fails(Create() != INVALID_SOCKET, WSANOTINITIALISED));
  EXPECT_TRUE(Fails(gethostbyname("127.0.0.1") != nullptr, WSANOTINITIALISED));
  EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
  EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
  EXPECT_EQ(WSACleanup(), 0);
  const SOCKET socket = Create();
  EXPECT_NE(socket, INVALID_SOCKET);
  EXPECT_EQ(WSACleanup(), 0);
  EXPECT_TRUE(Fails(closesocket(socket) == 0, WSANOTINITIALISED));
}

TEST_F(Sockets, EveryStateHasItsErrors) {
  EXPECT_TRUE(Fails(Create(77) != INVALID_SOCKET, WSAEAFNOSUPPORT));
  EXPECT_TRUE(Fails(Create(AF_INET, 77) != INVALID_SOCKET, WSAESOCKTNOSUPPORT));
  EXPECT_TRUE(Fails(Create(AF_INET, SOCK_STREAM, 77) != INVALID_SOCKET, WSAEPROTONOSUPPORT));
  Peer peer;
  char c = 0;
  EXPECT_EQ(Send(m_Socket, "x"), -1);
  EXPECT_TRUE(Fails(Receive(m_Socket, &c) >= 0, WSAENOTCONN));
  EXPECT_TRUE(Fails(shutdown(m_Socket, SD_BOTH) == 0, WSAENOTCONN));
  const sockaddr_in closed = Peer().Address();
  EXPECT_TRUE(Fails(Connect(m_Socket, closed) == 0, WSAECONNREFUSED));
  Join(peer);
  EXPECT_TRUE(Fails(Connect(m_Socket, peer.Address()) == 0, WSAEISCONN));
  EXPECT_TRUE(Fails(shutdown(m_Socket, 3) == 0, WSAEINVAL));
  EXPECT_EQ(shutdown(m_Socket, SD_SEND), 0);
  EXPECT_TRUE(Fails(Send(m_Socket, "x") >= 0, WSAESHUTDOWN));
  peer.Send("y");
  EXPECT_EQ(Receive(m_Socket, &c), 1);
  EXPECT_EQ(shutdown(m_Socket, SD_BOTH), 0);
  EXPECT_TRUE(Fails(Receive(m_Socket, &c) >= 0, WSAESHUTDOWN));
  EXPECT_EQ(closesocket(m_Socket), 0);
  EXPECT_TRUE(Fails(Send(m_Socket, "x") >= 0, WSAENOTSOCK));
  EXPECT_TRUE(Fails(Receive(m_Socket, &c) >= 0, WSAENOTSOCK));
  EXPECT_TRUE(Fails(Connect(m_Socket, closed) == 0, WSAENOTSOCK));
  EXPECT_TRUE(Fails(closesocket(std::exchange(m_Socket, INVALID_SOCKET)) == 0, WSAENOTSOCK));
}

TEST_F(Sockets, BytesKeepTheirOrderBothWaysInWhateverPieces) {
  for (const std::size_t piece : {1u, 4096u, 65535u, 65536u, 65537u, 300000u}) {
    SCOPED_TRACE(piece);
    Peer peer;
    Join(peer);
    std::string text(piece == 1 ? 66000 : 300000, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
      text[i] = static_cast<char>(i * 31 + i / 251);
    }
    std::thread echo([&] { peer.Send(peer.Receive(text.size())); });
    for (std::size_t at = 0; at < text.size(); at += piece) {
      ASSERT_GT(Send(m_Socket, text.substr(at, piece)), 0);
    }
    std::string received;
    std::string part(piece, '\0');
    while (received.size() < text.size()) {
      const int length = Receive(m_Socket, part.data(), piece);
      ASSERT_GT(length, 0);
      received.append(part, 0, static_cast<std::size_t>(length));
    }
    echo.join();
    EXPECT_TRUE(received == text);
  }
}

TEST_F(Sockets, EndComesAfterTheDataAndStays) {
  char c = 0;
  for (const bool isReset : {false, true}) {
    Peer peer;
    Join(peer);
    peer.Send("abc");
    EXPECT_EQ(ReceiveText(m_Socket, isReset ? 3 : 1), isReset ? "abc" : "a");
    isReset ? peer.Reset() : peer.Close();
    EXPECT_EQ(ReceiveText(m_Socket, 3), isReset ? "" : "bc");
    for (int round = 0; round < 2; ++round) {
      EXPECT_TRUE(isReset && CanPeerReset() ? Fails(Receive(m_Socket, &c) >= 0, WSAECONNRESET)
                                            : testing::AssertionResult(Receive(m_Socket, &c) == 0));
    }
  }
}

TEST_F(Sockets, SendsThatFailedFailTheNextReceive) {
  Peer peer;
  Join(peer);
  peer.Reset();
  Sleep(50);
  Send(m_Socket, "x");
  Sleep(50);
  Send(m_Socket, "y");
  char c = 0;
  EXPECT_EQ(Receive(m_Socket, &c), CanPeerReset() ? -1 : 0);
  EXPECT_EQ(Send(m_Socket, "z"), -1);
}

// The peer gets what was sent as soon as the sender does any of these, and it answers only then.
TEST_F(Sockets, BytesSentLeaveBeforeAnythingThatWaits) {
  Peer other;
  const SOCKET second = Create();
  ASSERT_EQ(Connect(second, other.Address()), 0);
  other.Accept();
  const HANDLE own = OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId());
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"connect", [&] { Connect(Create(), other.Address()); }},
      {"shutdown", [&] { shutdown(m_Socket, SD_SEND); }},
      {"close", [&] { closesocket(std::exchange(m_Socket, INVALID_SOCKET)); }},
      {"sleep", [] { Sleep(1); }},
      {"wait", [&] { WaitForSingleObject(own, 1); }},
      {"send elsewhere", [&] { Send(second, "s"); }},
      {"receive elsewhere", [&] { other.Send("t"), ReceiveText(second, 1); }}};
  for (const auto& [name, act] : rows) {
    SCOPED_TRACE(name);
    Peer peer;
    Join(peer);
    EXPECT_EQ(Send(m_Socket, "a"), 1);
    EXPECT_EQ(Send(m_Socket, "bc"), 2);
    act();
    EXPECT_EQ(peer.Receive(3), "abc");
  }
  Peer peer;
  Join(peer);
  std::thread answer([&] { peer.Send(peer.Receive(2) + "!?"); });
  EXPECT_EQ(Send(m_Socket, "q") + Send(m_Socket, "r"), 2);
  EXPECT_EQ(ReceiveText(m_Socket, 3), "qr!");
  answer.join();
  EXPECT_EQ(Send(m_Socket, "z"), 1);
  EXPECT_EQ(ReceiveText(m_Socket, 1), "?");  // which has been here for long
  EXPECT_EQ(peer.Receive(1), "z");
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
