// Copies, children, program search, Java and the registry file as this host has them.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <thread>

#include <direct.h>
#include <mstcpip.h>

#include "JavaRuntime.h"
#include "Registry.h"
#include "Support.h"

namespace {

DWORD Shell(const std::string& script) {
  return RunProgram("/bin/sh", "sh -c \"" + script + "\"");
}

class Copy : public InScratch {};
class Child : public InScratch {};

// Changes PATH and gives it back.
class Search : public InScratch {
 protected:
  ~Search() override { ::setenv("PATH", m_Path.c_str(), 1); }
  static std::string Find(const std::string& name) {
    char path[4096];
    return SearchPathA(nullptr, name.c_str(), ".exe", sizeof path, path, nullptr) ? path : "";
  }
  const std::string m_Root = fs::current_path(), m_Path = std::getenv("PATH");
};

// A connected socket, and the descriptor of its peer.
class Pair : public testing::Test {
 protected:
  Pair() {
    WSADATA data = {};
    WSAStartup(MAKEWORD(2, 2), &data);
    sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    auto* name = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof address;
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(::bind(listener, name, length) + ::listen(listener, 1), 0);
    ::getsockname(listener, name, &length);
    m_Socket = WSASocketA(AF_INET, SOCK_STREAM, 0, nullptr, 0, 0);
    EXPECT_EQ(WSAConnect(m_Socket, name, sizeof address, nullptr, nullptr, nullptr, nullptr), 0);
    m_Peer = ::accept(listener, nullptr, nullptr);
    ::close(listener);
  }
  ~Pair() override {
    closesocket(m_Socket);
    ::close(m_Peer);
    WSACleanup();
  }
  int Send(DWORD count = 1, DWORD flags = 0) {
    return WSASend(m_Socket, &m_Buffer, count, &m_Moved, flags, nullptr, nullptr);
  }
  int Receive(DWORD count = 1, DWORD flags = 0) {
    return WSARecv(m_Socket, &m_Buffer, count, &m_Moved, &flags, nullptr, nullptr);
  }

  SOCKET m_Socket;
  int m_Peer;
  char m_Byte = '?';
  WSABUF m_Buffer = {1, &m_Byte};
  DWORD m_Moved = 0;
};

}  // namespace

TEST_F(Copy, ReplacesTheFileKeepsPermissionsAndRefusesWhatIsNoFile) {
  WriteText("source", "new");
  WriteText("target", "old");
  ::chmod("source", 0554);
  const timespec times[] = {{1000000, 0}, {2000000, 0}};
  ::utimensat(AT_FDCWD, "source", times, 0);
  fs::create_symlink("target", "link");
  fs::create_symlink("nowhere", "dangling");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  std::ifstream reader("target");
  EXPECT_TRUE(CopyFileA("source", "link", FALSE));
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(ReadText("target"), "new");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");  // whole, as opened
  EXPECT_EQ(fs::status("target").permissions(), fs::perms(0554));
  EXPECT_EQ(fs::last_write_time("target"), fs::last_write_time("source"));
  EXPECT_TRUE(Fails(CopyFileA("source", "dangling", FALSE), ERROR_FILE_NOT_FOUND));
  EXPECT_TRUE(Fails(CopyFileA("pipe", "new", FALSE), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(Fails(CopyFileA("source", "pipe", FALSE), ERROR_ACCESS_DENIED));
  // Which may not be written now, for the superuser either.
  EXPECT_TRUE(Fails(CopyFileA("source", "target", FALSE), ERROR_ACCESS_DENIED));
  EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 5);
}

TEST_F(Child, EndsWithEightBitsOrASignal) {
  EXPECT_EQ(Shell("exit 255"), 255u);
  EXPECT_EQ(Shell("kill -9 $$"), 128u + SIGKILL);
  ::signal(SIGCHLD, SIG_IGN);  // as some parents leave it
  EXPECT_EQ(Shell("exit 4"), 4u);
}

TEST_F(Child, HasTheStandardStreamsAndNoOther) {
  std::ofstream open("other.txt");
  const int input = ::dup(0);
  ::close(0);  // a thread's handle does not take its place
  const HANDLE thread = CreateThread(
      nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr);
  EXPECT_EQ(::dup2(input, 0), 0);
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(CloseHandle(thread));
  ::close(input);
  EXPECT_EQ(Shell("(ls /proc/$$/fd) > child.txt"), 0u);
  EXPECT_EQ(ReadText("child.txt"), "0\n1\n2\n");
}

TEST_F(Child, IsAScriptOrAJavaWithAnAdaptedClassPath) {
  WriteText("script.exe", "#!/bin/sh\nexit $#\n", fs::perms::owner_all);
  WriteText("java", "#!/bin/sh\necho \"$*\" > java.txt\n", fs::perms::owner_all);
  EXPECT_EQ(RunProgram(".\\./script.exe", "x \"a b\" c"), 2u);
  EXPECT_EQ(
      RunProgram(".\\java", "java -Da=b;c\\d -Djava.class.path=a\\b;\"c d\" M -Djava.class.path=e;f"), 0u);
  EXPECT_EQ(ReadText("java.txt"), "-Da=b;c\\d -Djava.class.path=a/b:c d M -Djava.class.path=e;f\n");
}

TEST_F(Search, GoesOwnDirectoryCurrentDirectoryPath) {
  WriteText("first/tool.exe", "not executable");
  WriteText("first/other", "", fs::perms::owner_all);
  WriteText("first/other.exe", "", fs::perms::owner_all);
  fs::create_directories("second/tool.exe");
  WriteText("second/tool", "", fs::perms::owner_all);
  ::setenv("PATH", (m_Root + "/none::first:" + m_Root + "/second").c_str(), 1);
  EXPECT_EQ(Find("tool"), m_Root + "/second/tool");
  EXPECT_EQ(Find("other"), m_Root + "/first/other.exe");
  WriteText("tool", "", fs::perms::owner_all);
  EXPECT_EQ(Find("tool"), m_Root + "/tool");
  EXPECT_NE(Find("host_tests"), "");
  EXPECT_EQ(Find("sh"), "");
  ::unsetenv("PATH");
  EXPECT_EQ(Find("sh"), "/bin/sh");
}

TEST_F(Search, JavaOfferedIsThatOfJavaHomeElseOfThePath) {
  const std::string library = "/lib/server/libjvm.so", old = "/jre/lib/amd64/server/libjvm.so";
  WriteText("new" + library, "");
  WriteText("new/bin/java", "", fs::perms::owner_all);
  WriteText("old" + old, "");
  WriteText("." + library, "");  // which no Java found leads to
  fs::create_directory("links");
  fs::create_symlink("../new/bin/java", "links/java");
  const std::tuple<std::string, std::string, std::string> rows[] = {
      {m_Root + "/new", "", m_Root + "/new" + library},
      {"", "/none:" + m_Root + "/links", m_Root + "/new" + library},
      {m_Root + "/old", "/links", m_Root + "/old" + old},
      {m_Root + "/no", "/links", ""},
      {"", "/none", ""}};
  for (const auto& [home, path, expected] : rows) {
    ::setenv("JAVA_HOME", home.c_str(), 1);
    ::setenv("PATH", (m_Root + path).c_str(), 1);
    EXPECT_EQ(host::FindJavaLibrary(), expected) << home << " " << path;
  }
}

TEST_F(Copy, FullPathFollowsLinksAndLeadsSomewhere) {
  char path[4096];
  WriteText("home/bin/java", "");
  fs::create_symlink("home/bin/java", "link");
  ASSERT_NE(_fullpath(path, ".\\home/..\\link", sizeof path), nullptr);
  EXPECT_EQ(path, fs::current_path().string() + "/home/bin/java");
  EXPECT_EQ(_fullpath(path, "missing", sizeof path), nullptr);
}

TEST(RegistryText, ValuesHaveTheirFormsAndMalformedLinesNone) {
  const std::string key = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n";
  const std::pair<std::string, std::string> rows[] = {
      {key + "  \"V\" = \"a b\"  \r\n", "v=a b"},
      {"REGEDIT4\n" + key + "\"v\"=\"C:\\\\d\\\\\\\"q\\\"\"", "v=C:\\d\\\"q\""},
      {key + "\"v\"=dword:00636261", "v is none"},
      {key + "\"v\"=hex(2):61,\\\n  62,\\\r\n  00\n\"w\"=hex:61", "v is none,w is none"},
      // Malformed: the line is skipped, what stood before and after holds.
      {key + "\"v\"=\"good\"\n\"v\"=\"bad\n\"v\"=\"bad\" x\n\"v\"=bad\nv=\"bad\"\n\"v\"=hexa\n"
             "\"v\"=\"\\b\"\n\"v\"=\"\\\n\"v\"=-\n\"v\n=\n;\"v\"=\"bad\"\n\x01\xFF "
             "garbage\n@=\"last\"",
       "=last,v=good"},
      {key + "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n\"v\"=\"lost\"", ""},
      {key + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\B\n\"v\"=\"lost\"", ""},
      {"\"v\"=\"lost\"\n" + key, ""}};
  for (const auto& [text, expected] : rows) {
    host::Registry registry = host::ParseRegistryText(text);
    EXPECT_EQ(registry.count("hkey_local_machine\\software"), 1u);
    std::string values;
    for (const auto& [name, value] : registry["hkey_local_machine\\software\\a"]) {
      values += (values.empty() ? "" : ",") + name + (value ? "=" + *value : " is none");
    }
    EXPECT_EQ(values, expected) << text;
  }
}

TEST_F(Pair, RefusesWhatItDoesNotDo) {
  const auto start = [](void*) -> DWORD { return 0; };
  char* text = nullptr;
  PROCESS_INFORMATION child = {};
  const std::pair<std::function<bool()>, DWORD> rows[] = {
      {[&] { return Start("/bin/true", "true", child, 4); }, ERROR_INVALID_PARAMETER},
      {[&] { return CreateThread(nullptr, 1, start, nullptr, 0, nullptr); },
       ERROR_INVALID_PARAMETER},
      {[&] { return CreateThread(nullptr, 0, start, nullptr, 4, nullptr); },
       ERROR_INVALID_PARAMETER},
      {[] { return CopyFileA("/bin/sh", "/dev/null", TRUE); }, ERROR_INVALID_PARAMETER},
      {[&] {
         return FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 2, 0,
                               reinterpret_cast<char*>(&text), 0, nullptr);
       },
       ERROR_INVALID_PARAMETER},
      {[] { return TerminateProcess(HANDLE{}, 1); }, ERROR_NOT_SUPPORTED},
      {[] { return WSASocketA(AF_INET6, SOCK_STREAM, 0, nullptr, 0, 0) != INVALID_SOCKET; },
       WSAEAFNOSUPPORT},
      {[] { return WSASocketA(AF_INET, SOCK_DGRAM, 0, nullptr, 0, 0) != INVALID_SOCKET; },
       WSAESOCKTNOSUPPORT},
      {[&] {
         return WSAIoctl(m_Socket, SIO_TCP_INITIAL_RTO, nullptr, 0, nullptr, 0, nullptr, nullptr,
                         nullptr) == 0;
       },
       WSAEOPNOTSUPP},
      {[&] { return Send(2) == 0; }, WSAEINVAL},
      {[&] { return Send(1, MSG_OOB) == 0; }, WSAEOPNOTSUPP},
      {[&] { return Receive(0) == 0; }, WSAEINVAL},
      {[&] { return Receive(1, MSG_PEEK) == 0; }, WSAEOPNOTSUPP}};
  for (const auto& [call, error] : rows) {
    SetLastError(0);
    EXPECT_TRUE(Fails(call(), error)) << &call - &rows[0].first;
  }
}

TEST_F(Pair, AfterAResetNothingIsMovedAnyMore) {
  EXPECT_EQ(::send(m_Peer, "ab", 2, 0), 2);
  EXPECT_EQ(Receive(), 0);
  EXPECT_EQ(Send(), 0);
  const linger abort = {1, 0};
  ::setsockopt(m_Peer, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  ::close(std::exchange(m_Peer, -1));
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(Fails(Receive() == 0, WSAECONNRESET));  // what was gathered cannot leave
    EXPECT_TRUE(Fails(Send() == 0, WSAECONNRESET));
  }
}

TEST_F(Pair, NoSocketConnectsToItself) {
  sockaddr_in address = {AF_INET, htons(33332), {htonl(INADDR_LOOPBACK)}, {}};
  const auto* name = reinterpret_cast<const sockaddr*>(&address);
  for (int i = 0; i < 30000; ++i) {  // through the ports that the system takes own ones from
    const SOCKET socket = WSASocketA(AF_INET, SOCK_STREAM, 0, nullptr, 0, 0);
    const int result = WSAConnect(socket, name, sizeof address, nullptr, nullptr, nullptr, nullptr);
    ASSERT_TRUE(Fails(result == 0, WSAECONNREFUSED)) << i;
    closesocket(socket);
  }
}
