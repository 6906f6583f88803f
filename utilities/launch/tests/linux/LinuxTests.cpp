// The layer's own behaviour: files, children, program search, Java, registry text, sockets.
#include <direct.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "Handles.h"
#include "Peer.h"
#include "Registry.h"

namespace {

DWORD Shell(const std::string& script) {
  return RunProgram("/bin/sh", "sh -c \"" + script + "\"");
}

class Files : public InScratch {};
class Child : public InScratch {};

// Restores PATH.
class Search : public InScratch {
 protected:
  ~Search() override { ::setenv("PATH", m_Path.c_str(), 1); }
  static std::string Find(const std::string& name) {
    char path[4096];
    return SearchPathA(nullptr, name.c_str(), ".exe", sizeof path, path, nullptr) ? path : "";
  }
  const std::string m_Root = fs::current_path(), m_Path = std::getenv("PATH");
};

}  // namespace

TEST_F(Files, CopyReplacesTheTargetAndKeepsPermissions) {
  WriteText("source", "new");
  WriteText("target", "old");
  ::chmod("source", 0754);
  const timespec times[] = {{1000000, 0}, {2000000, 0}};
  ::utimensat(AT_FDCWD, "source", times, 0);
  fs::create_symlink("target", "link");
  fs::create_symlink("nowhere", "dangling");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  std::ifstream reader("target");
  EXPECT_TRUE(CopyFileA("source", "link", FALSE));
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(ReadText("target"), "new");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");  // the old file
  EXPECT_EQ(fs::status("target").permissions(), fs::perms(0754));
  EXPECT_EQ(fs::last_write_time("target"), fs::last_write_time("source"));
  EXPECT_TRUE(Fails(CopyFileA("source", "dangling", FALSE), ERROR_FILE_NOT_FOUND));
  for (const char* none : {"pipe", "/dev/null"}) EXPECT_EQ(std::fopen(none, "rb"), nullptr);
  EXPECT_TRUE(Fails(CopyFileA("pipe", "new", FALSE), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(Fails(CopyFileA("source", "pipe", FALSE), ERROR_ACCESS_DENIED));
  // A read-only target is refused for the superuser too.
  EXPECT_TRUE(SetFileAttributesA("target", FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(fs::status("target").permissions(), fs::perms(0554));
  EXPECT_TRUE(Fails(CopyFileA("source", "target", FALSE), ERROR_ACCESS_DENIED));
}

TEST_F(Child, EndsWithEightBitsOrASignal) {
  EXPECT_EQ(Shell("exit 255"), 255u);
  EXPECT_EQ(Shell("kill -9 $$"), 128u + SIGKILL);
  ::signal(SIGCHLD, SIG_IGN);  // inherited from some parents
  EXPECT_EQ(Shell("exit 4"), 4u);
}

TEST(ProcessDeathTest, TerminationRunsNoExitHandlers) {
  const auto terminate = [] {
    std::atexit([] { std::abort(); });
    TerminateProcess(GetCurrentProcess(), 9);
  };
  EXPECT_EXIT(terminate(), testing::ExitedWithCode(9), "");
}

TEST_F(Child, InheritsOnlyTheStandardStreams) {
  std::ofstream open("other.txt");
  const int input = ::dup(0);
  ::close(0);  // no handle uses this descriptor
  EXPECT_GT(linux::Descriptor(::dup(input)).Get(), 2);
  EXPECT_EQ(::dup2(input, 0), 0);
  ::close(input);
  EXPECT_EQ(Shell("(ls /proc/$$/fd; echo $0) > child.txt"), 0u);
  EXPECT_EQ(ReadText("child.txt"), "0\n1\n2\nsh\n");
}

TEST_F(Child, GetsAFirstWordWithoutEscapes) {
  EXPECT_EQ(RunProgram("/bin/sh", "\"s\"\"h\\\" -c \"exit ${#0}\""), 3u);  // sh and a backslash
}

TEST_F(Child, JavaGetsAnAdaptedClassPath) {
  WriteText("java", "#!/bin/sh\necho \"$*\" > java.txt\n", fs::perms::owner_all);
  const std::string line = "-Djava.class.path=a\\b;c\\d -Da=b;c\\d M -Djava.class.path=e;f";
  EXPECT_EQ(RunProgram(".\\java", "java " + line), 0u);
  EXPECT_EQ(ReadText("java.txt"), "-Djava.class.path=a/b:c/d -Da=b;c\\d M -Djava.class.path=e;f\n");
}

TEST_F(Search, OwnDirectoryThenCurrentDirectoryThenPath) {
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
  char path[4096];
  const auto size = static_cast<DWORD>(Find("tool").size());
  EXPECT_EQ(_fullpath(path, "tool", size), nullptr);
  EXPECT_NE(Find("linux_tests"), "");
  EXPECT_EQ(Find("sh"), "");
  ::unsetenv("PATH");
  EXPECT_EQ(Find("sh"), "/bin/sh");
}

TEST(RegistryText, ReadsTextsAndSkipsMalformedLines) {
  const std::string key = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n";
  const std::pair<std::string, std::string> rows[] = {
      {key + "  \"Z\" = \"a b\"  \r\n", "z=a b"},
      {"REGEDIT4\n" + key + "\"v\"=\"C:\\\\d\\\\\\\"q\\\"\"", "v=C:\\d\\\"q\""},
      {key + "\"u\"=hex(2):61,\\\n  62,\\\r\n  00\n\"v\"=hex:61\n\"w\"=dword:0", "u-v-w-"},
      // Malformed lines.
      {key + "\"v\"=\"good\"\n\"v\"=\"bad\n\"v\"=\"bad\" x\n\"v\"=bad\nv=\"bad\"\n\"v\"=hexa\n"
             "\"v\"=\"\\b\"\n\"v\"=\"\\\n\"v\"=-\n\"v\n=\n;\"v\"=\"bad\"\n\x01\xFF bad\n@=\"last\"",
       "=lastv=good"},
      {key + "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n\"v\"=\"lost\"", ""},
      {key + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\B\n\"v\"=\"lost\"", ""},
      {"\"v\"=\"lost\"\n" + key, ""}};
  for (const auto& [text, expected] : rows) {
    std::string values;
    const linux::Registry registry = linux::ParseRegistryText(text);
    for (const auto& [name, value] : registry.at("hkey_local_machine\\software\\a")) {
      values += name + (value ? "=" + *value : "-");
    }
    EXPECT_EQ(values, expected) << text;
  }
}

TEST_F(Sockets, GiveWhatArrivedBeforeAResetAndNothingAfterIt) {
  Peer peer;
  Join(peer);
  peer.Send("a");
  peer.Reset();
  EXPECT_TRUE(Receive() == 1 && m_Bytes[0] == 'a');
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(Fails(Receive() >= 0, WSAECONNRESET));
    EXPECT_TRUE(Fails(Send("x") >= 0, WSAECONNRESET));
  }
}

TEST_F(Sockets, DoNotConnectToThemselves) {
  closesocket(m_Socket);
  const int descriptor = ::dup(0);  // which the socket has next
  ::close(descriptor);
  m_Socket = Create();
  sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  auto* name = reinterpret_cast<sockaddr*>(&address);
  socklen_t length = sizeof address;
  ASSERT_EQ(::bind(descriptor, name, length), 0);
  ASSERT_EQ(::getsockname(descriptor, name, &length), 0);
  const int result = WSAConnect(m_Socket, name, sizeof address, nullptr, nullptr, nullptr, nullptr);
  EXPECT_TRUE(Fails(result == 0, WSAECONNREFUSED));
}
