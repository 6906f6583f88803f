#include <winsock2.h>
#include <gmock/gmock.h>

#include <future>
#include <thread>

#include "Connections.h"
#include "platform/BufferedSocket.h"
#include "platform/Exec.h"
#include "platform/Files.h"
#include "platform/LaunchFailure.h"
#include "platform/Owner.h"
#include "platform/SwitcherListener.h"
#include "platform/SystemError.h"

namespace {

class BufferedSockets : public Connections {
 protected:
  BufferedSockets() { Connect(); }
  void Connect() { m_Socket = std::make_unique<BufferedSocket>(Join()); }
  bool Send(const std::string& text) { return m_Socket->Send(text); }
  // Fewer bytes at the end of the stream or after a failure.
  std::string Receive(size_t length) {
    std::string text;
    while (text.size() < length && !m_Socket->Peek().empty()) {
      text += m_Socket->Peek()[0];
      m_Socket->Skip(1);
    }
    return text;
  }

  std::unique_ptr<BufferedSocket> m_Socket;
};

class SocketStates : public Connections {};
class InstallFiles : public InScratch {};
class Children : public InScratch {
 protected:
  Children() { Set("waits,exit=7", "log"); }
  ~Children() override { Set("", ""); }
  static void Set(const char* scenario, const char* log) {
    SetVariable("FAKE_JAVA", scenario);
    SetVariable("FAKE_JAVA_LOG", log);
  }
};

}  // namespace

TEST(SystemText, IsAddedUpToTheLimitWhereThereIsOne) {
  std::string message = "failed", cut = message, none = message;
  AppendSystemText(message, ERROR_FILE_NOT_FOUND, 100);
  AppendSystemText(cut, ERROR_FILE_NOT_FOUND, 10);
  AppendSystemText(none, 0x2FFFFFFF, 100);
  EXPECT_THAT(message, testing::StartsWith("failed: "));
  EXPECT_THAT(message, testing::EndsWith("\r\n"));
  EXPECT_EQ(cut, message.substr(0, 10));
  EXPECT_EQ(none, "failed");
}

TEST_F(InstallFiles, NameACopyByWhatFollowsTheLastSlash) {
  WriteText("a/b/c", "new");
  fs::create_directories("out/b");
  InstallFileInto("a/b\\c", "out");
  EXPECT_EQ(ReadText("out/b/c"), "new");
  for (const char* directory : {"out", "out/"}) {
    EXPECT_THAT([&] { InstallFileInto("missing", directory); },
                testing::ThrowsMessage<LaunchFailure>(
                    testing::HasSubstr(" copying missing to out\\missing: ")));
  }
}

TEST_F(InstallFiles, ClearNoAttributeButReadOnly) {
  WriteText("target", "old");
  EXPECT_TRUE(SetFileAttributesA("target", FILE_ATTRIBUTE_READONLY | kHidden));
  EXPECT_THROW(InstallFile("missing", "target"), LaunchFailure);
  EXPECT_EQ(GetFileAttributesA("target") & (FILE_ATTRIBUTE_READONLY | kHidden), kHidden);
}

TEST_F(InstallFiles, EndTheMessageOfAFailureWithinTheSystemsText) {
  std::string source = "x";
  while (source.size() < 4030) source.insert(0, ".\\");
  EXPECT_FALSE(CopyFileA(source.c_str(), "b", FALSE));
  const DWORD code = GetLastError();
  std::string message = "CopyFile returned error code " + std::to_string(code) + " when copying ";
  message += source + " to b";
  AppendSystemText(message, code, 4095);
  ASSERT_EQ(message.size(), 4095U);
  EXPECT_THAT([&] { CopyFileWithRetry(source, "b", 5); },
              testing::ThrowsMessage<LaunchFailure>(message));
}

TEST_F(Children, InheritNoHandle) {
  const SocketStartup startup;
  Peer peer;  // its sockets can be inherited
  auto code = std::async(std::launch::async, [] { return Exec({"java"}, kFakes + FAKE_JAVA); });
  while (code.wait_for(std::chrono::milliseconds(10)) == std::future_status::timeout &&
         ReadText("log").find("in ") == std::string::npos) {
  }
  peer.StopListening();
  Socket socket("127.0.0.1", peer.GetPort(), SOCK_STREAM, AF_INET, 0);
  EXPECT_FALSE(socket.IsConnected());  // the child does not listen
  WriteText("end", "");
  EXPECT_EQ(code.get(), 7);
}

TEST(Socket, KeepsTheErrorOfItsOwnFailure) {
  EXPECT_EQ(InitialiseSockets(), 0);
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
  EXPECT_EQ(CleanupSockets(), 0);
}

TEST_F(SocketStates, FollowThePeerAndCreate) {
  char got = 0;
  std::unique_ptr<Socket> socket = Join();
  EXPECT_TRUE(socket->IsConnected());
  m_Peer.Close();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(socket->Receive(&got, 1, 0), 0);
    EXPECT_FALSE(socket->IsConnected());
  }
  socket = Join();
  m_Peer.Reset();
  EXPECT_LE(socket->Receive(&got, 1, 0), 0);  // an end, for Wine
  EXPECT_FALSE(socket->IsConnected());
  socket = Join();
  EXPECT_TRUE(socket->Create(SOCK_STREAM, AF_INET, 0));
  EXPECT_FALSE(socket->IsConnected());
  EXPECT_TRUE(m_Peer.HasEnded());
  EXPECT_EQ(socket->Send("x", 1, 0), -1);
  EXPECT_EQ(socket->Receive(&got, 1, 0), -1);
  EXPECT_EQ(socket->GetError(), static_cast<uint32_t>(WSAENOTCONN));
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
  ASSERT_TRUE(Start(kFakes + FAKE_JAVA, "java", child));
  WaitForSingleObject(child.hProcess, INFINITE);
  EXPECT_FALSE(OpenRunningProcess(child.dwProcessId));  // though it is held here
  EXPECT_TRUE(OpenRunningProcess(GetCurrentProcessId()));
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
}
