#include <winsock2.h>
#include <gmock/gmock.h>

#include <memory>
#include <thread>

#include "CommandLineParameters.h"
#include "Peer.h"
#include "WorkspaceSearch.h"
#include "assistant/AssistantConnection.h"
#include "assistant/AssistantWire.h"
#include "assistant/BuildCommands.h"
#include "assistant/PropertyMap.h"
#include "platform/BufferedSocket.h"
#include "platform/Files.h"
#include "platform/LaunchFailure.h"
#include "platform/Owner.h"
#include "platform/SwitcherListener.h"
#include "platform/SystemError.h"

TEST(Paths, StartIsWhatLiesBelowTheRoot) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"C:\\work/", "c:\\WORK\\src/", "src/"},
      {"C:\\work/", "C:\\work\\\\src/", "src/"},
      {"C:\\work/", "C:\\work//src/", "/src/"},
      {"C:\\work/", "C:\\workshop/src/", ""},
      // At the top of a drive, or of Linux's tree, the separator is there already.
      {"C:\\/", "C:\\src\\game/", "src\\game/"},
      {"//", "/src/", "src/"}};
  for (const auto& [root, start, below] : rows) {
    EXPECT_EQ(StartPathBelow(root, start), below) << start;
  }
}

TEST(ParametersDeathTest, MisuseEndsTheProgramOrThrows) {
  CommandLineParameters parameters;
  const char* arguments[] = {"Torvel", "Build", nullptr};
  parameters.Parse(3, arguments);
  EXPECT_DEATH(parameters.Add({false, "Build", ""}), "");
  EXPECT_THAT([&] { parameters.Get("build"); },
              testing::ThrowsMessage<InternalError>("Internal error: Parameter build not found"));
}

TEST(CopyFileWithRetry, CutsItsMessage) {
  for (const size_t length : {4040U, 9000U}) {
    EXPECT_THAT([&] { CopyFileWithRetry(std::string(length, 'x'), "b", 5); },
                testing::ThrowsMessage<LaunchFailure>(testing::SizeIs(4095)));
  }
}

TEST(SystemText, IsAddedWhereThereIsOne) {
  std::string message = "failed";
  AppendSystemText(message, 0x2FFFFFFF, 100);
  EXPECT_EQ(message, "failed");
}

TEST(Socket, KeepsTheErrorOfItsOwnFailure) {
  const SocketStartup startup;
  Peer peer;
  peer.StopListening();
  Socket socket;
  for (const char* host : {"localhost", "127.0.0.1"}) {
    EXPECT_TRUE(socket.Create(SOCK_STREAM, AF_INET, 0));
    EXPECT_EQ(socket.Connect(host, peer.GetPort()), -1);
    EXPECT_FALSE(socket.IsConnected());
    EXPECT_EQ(socket.GetError(), static_cast<uint32_t>(WSAECONNREFUSED));
    EXPECT_EQ(WSAGetLastError(), 0);
  }
  // Longer than a name may be, so that no name server is asked.
  EXPECT_EQ(socket.Connect(std::string(300, 'a').c_str(), peer.GetPort()), -1);
  EXPECT_NE(socket.GetError(), 0U);
  socket.Close();
  EXPECT_EQ(WSAGetLastError(), 0);
  EXPECT_EQ(socket.Send("x", 1, 0), -1);
  EXPECT_EQ(socket.GetError(), 0U);
}

namespace {

// A buffered socket and the far side of its connection.
class BufferedSockets : public testing::Test {
 protected:
  BufferedSockets() { Connect(); }
  std::unique_ptr<Socket> Join() {
    auto socket = std::make_unique<Socket>("127.0.0.1", m_Peer.GetPort(), SOCK_STREAM, AF_INET, 0);
    m_Peer.Accept();
    return socket;
  }
  void Connect() { m_Socket = std::make_unique<BufferedSocket>(Join()); }
  bool Send(const std::string& text) { return m_Socket->Send(text); }
  // Fewer bytes at the end of the stream or after a failure.
  std::string Receive(size_t length, size_t piece = 1) {
    std::string text;
    while (text.size() < length) {
      const std::string_view arrived = m_Socket->Peek().substr(0, piece);
      if (arrived.empty()) break;
      text += arrived;
      m_Socket->Skip(arrived.size());
    }
    return text;
  }

  const SocketStartup m_Startup;
  Peer m_Peer;
  std::unique_ptr<BufferedSocket> m_Socket;
};

class AssistantWires : public BufferedSockets {};
class AssistedCommand : public BufferedSockets {};

}  // namespace

TEST_F(BufferedSockets, KeepTheOrderOfBytesBothWays) {
  std::string text(100000, '\0');
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31 + i / 251);
  for (const size_t piece : {1U, 4U, 32767U, 32768U, 32769U, 100000U}) {
    Connect();
    std::thread echo([&] { m_Peer.Send(m_Peer.Receive(text.size())); });
    for (size_t at = 0; at < text.size(); at += piece) EXPECT_TRUE(Send(text.substr(at, piece)));
    EXPECT_TRUE(Receive(text.size(), piece) == text) << piece;
    echo.join();
  }
}

TEST_F(BufferedSockets, SendBeforeAReceiveThatWaitsAndWhenFullAndAtTheirEnd) {
  std::thread answer([&] { m_Peer.Send(m_Peer.Receive(2) + "!?"); });
  EXPECT_TRUE(Send("q") && Send("r"));
  EXPECT_EQ(Receive(3), "qr!");
  answer.join();
  EXPECT_TRUE(Send("a"));
  EXPECT_EQ(Receive(1), "?");  // which does not wait
  EXPECT_TRUE(m_Socket->Flush());
  EXPECT_EQ(m_Peer.Receive(1), "a");
  EXPECT_TRUE(Send("b") && Send(std::string(32768, 'c')) && Send(std::string(32767, 'd')));
  EXPECT_EQ(m_Peer.Receive(32769), "b" + std::string(32768, 'c'));
  m_Socket.reset();
  EXPECT_EQ(m_Peer.Receive(40000), std::string(32767, 'd'));
}

TEST_F(BufferedSockets, DoNothingAnyMoreAfterAFailedSend) {
  m_Peer.Send("ab");
  EXPECT_EQ(Receive(1), "a");
  m_Peer.Reset();
  while (m_Socket->Flush()) Send("x");  // until the reset has arrived
  EXPECT_FALSE(Send("x"));
  EXPECT_EQ(Receive(1), "");  // although "b" was there
  EXPECT_FALSE(m_Socket->Flush());
}

TEST(Watcher, DoesNotWatchAParentThatHasEnded) {
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(Start(FAKE_JAVA, "java", child));
  WaitForSingleObject(child.hProcess, INFINITE);
  EXPECT_FALSE(OpenRunningProcess(child.dwProcessId));  // though it is held here
  EXPECT_TRUE(OpenRunningProcess(GetCurrentProcessId()));
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
}

TEST_F(AssistantWires, SendAnyCodePointOfFourBytes) {
  AssistantWire wire(Join());
  const std::pair<int, std::string> rows[] = {{0x7F, "\x7F"},
                                              {0x80, "\xC2\x80"},
                                              {0x7FF, "\xDF\xBF"},
                                              {0x800, "\xE0\xA0\x80"},
                                              {0xFFFF, "\xEF\xBF\xBF"},
                                              {0x10000, "\xF0\x90\x80\x80"},
                                              {0x1FFFFF, "\xF7\xBF\xBF\xBF"}};
  std::string expected;
  for (const auto& [code, bytes] : rows) {
    EXPECT_TRUE(wire.SendChar(code)) << code;
    expected += bytes;
  }
  EXPECT_FALSE(wire.SendChar(0x200000));
  EXPECT_FALSE(wire.SendChar(-1));
  EXPECT_TRUE(wire.Flush());
  EXPECT_EQ(m_Peer.Receive(expected.size()), expected);
}

TEST(PropertyMap, ParsesAndFormats) {
  const std::pair<const char*, const char*> rows[] = {
      {"version=1.2||junk|cwd=C:%5cx", "cwd=C:\\x|version=1.2"},
      {"|b=1|a=2|B=3|\xE9=4|", "B=3|a=2|b=1|\xE9=4"},
      {"a=b=c", "a=b%3dc"},
      {"k=1|k=2", "k=2"},
      {"n=|=v", "=v|n="},
      {"a%3Db%7C=%7c%0a%0A%25", "a%3db%7c=%7c%0a%0a%25"},
      {"a=%253d%4%41b%4", "a=%253d@41b%254"},
      {"%61%4a%4B%4C%4d%5F=%39%38%37%36%35%34%33%32%31%30", "aJKLM_=9876543210"},
  };
  for (const auto& [text, formatted] : rows) {
    PropertyMap map;
    map.Parse(text);
    EXPECT_EQ(map.Format(), formatted) << text;
  }
  PropertyMap map;
  map.SetProperty("b", "old");
  map.SetProperty("c", "kept");
  map.Parse("b=new|a=1");
  EXPECT_EQ(map.GetProperty("b") + map.GetProperty("unknown"), "new");
  EXPECT_EQ(map.Format(), "a=1|b=new|c=kept|unknown=");
  EXPECT_EQ(UnescapeProperty("%zz%1g%g1%%25"), std::string("\0\x10\x01\x02\x35", 5));
}

TEST_F(AssistedCommand, ThatCannotBeSentOpensNoKeepAlive) {
  const char* arguments[] = {"Torvel", "Build", "--debug"};
  Singleton<CommandLineParameters>::GetInstance().Parse(3, arguments);
  std::unique_ptr<Socket> socket = Join();
  m_Peer.Reset();
  char none = 0;
  EXPECT_LE(socket->Receive(&none, 1, 0), 0);  // waits for the reset
  AssistantConnection assistant(std::move(socket));
  testing::internal::CaptureStdout();
  EXPECT_EQ(RunAssistedCommand(assistant), 666);
  EXPECT_THAT(testing::internal::GetCapturedStdout(),
              testing::AllOf(testing::HasSubstr("Send 'Build'"),
                             testing::Not(testing::HasSubstr("KeepAlive"))));
}
