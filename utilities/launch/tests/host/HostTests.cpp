// Copies, children, program search, Java and the registry file as this host has them.
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "JavaRuntime.h"
#include "RegistryText.h"
#include "Support.h"

namespace {

using Texts = std::vector<std::string>;

class Copy : public InScratch {};

class Child : public InScratch {
 protected:
  // Runs a program to its end and gives its exit code.
  static DWORD Run(const std::string& program, const std::string& line) {
    PROCESS_INFORMATION child = {};
    DWORD code = 0;
    EXPECT_TRUE(Start(program, line, child)) << GetLastError();
    EXPECT_EQ(WaitForSingleObject(child.hProcess, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
    EXPECT_TRUE(CloseHandle(child.hProcess) && CloseHandle(child.hThread));
    return code;
  }
  static DWORD Shell(const std::string& script) {
    return Run("/bin/sh", "sh -c \"" + script + "\"");
  }
};

// Changes PATH and gives it back.
class Search : public InScratch {
 protected:
  ~Search() override { ::setenv("PATH", m_Path.c_str(), 1); }
  const std::string m_Root = fs::current_path(), m_Path = std::getenv("PATH");
};

}  // namespace

TEST_F(Copy, ReplacesTheFileKeepsPermissionsAndRefusesWhatIsNoFile) {
  WriteText("source", "new");
  WriteText("target", "old");
  ::chmod("source", 0554);
  fs::create_symlink("target", "link");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  std::ifstream reader("target");
  EXPECT_TRUE(CopyFileA("source", "link", FALSE));
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(ReadText("target"), "new");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");  // whole, as opened
  EXPECT_EQ(fs::status("target").permissions(), fs::perms(0554));
  EXPECT_TRUE(Fails(CopyFileA("pipe", "new", FALSE), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(Fails(CopyFileA("source", "pipe", FALSE), ERROR_ACCESS_DENIED));
  // Which may not be written now, for the superuser either.
  EXPECT_TRUE(Fails(CopyFileA("source", "target", FALSE), ERROR_ACCESS_DENIED));
}

TEST_F(Child, EndsWithEightBitsOrASignal) {
  EXPECT_EQ(Shell("exit 255"), 255u);
  EXPECT_EQ(Shell("kill -9 $$"), 128u + SIGKILL);
  ::signal(SIGCHLD, SIG_IGN);  // as some parents leave it
  EXPECT_EQ(Shell("exit 4"), 4u);
}

TEST_F(Child, HasTheStandardStreamsNoOtherAndNoBlockedSignal) {
  std::ofstream open("other.txt");
  sigset_t blocked, before;
  ::sigfillset(&blocked);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  EXPECT_EQ(Shell("(ls /proc/$$/fd; grep SigBlk /proc/$$/status) > child.txt"), 0u);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(ReadText("child.txt"), "0\n1\n2\nSigBlk:\t0000000000000000\n");
}

TEST_F(Child, IsAScriptOrAJavaWithAdaptedOptions) {
  WriteText("script.exe", "#!/bin/sh\nexit $#\n", fs::perms::owner_all);
  WriteText("home/bin/java", "#!/bin/sh\necho \"$*\" > java.txt\n", fs::perms::owner_all);
  WriteText("home/release", "JAVA_VERSION=\"17\"\n");
  EXPECT_EQ(Run(".\\home/../script.exe", "x \"a b\" c"), 2u);
  const std::string options = "-Djava.class.path=a;b -XX:+UseConcMarkSweepGC";
  fs::create_symlink("home/bin/java", "java");  // as a system's alternatives do
  EXPECT_EQ(Run(".\\java", "java " + options + " M c;d"), 0u);
  EXPECT_EQ(ReadText("java.txt"), "-Djava.class.path=a:b M c;d\n");
}

TEST_F(Search, GoesOwnDirectoryCurrentDirectoryPath) {
  WriteText("first/tool.exe", "not executable");
  WriteText("first/other", "", fs::perms::owner_all);
  WriteText("first/other.exe", "", fs::perms::owner_all);
  fs::create_directories("second/tool.exe");
  WriteText("second/tool", "", fs::perms::owner_all);
  ::setenv("PATH", (m_Root + "/none::" + m_Root + "/first:" + m_Root + "/second/").c_str(), 1);
  const auto find = [](const std::string& name) -> std::string {
    char path[4096];
    return SearchPathA(nullptr, name.c_str(), ".exe", sizeof path, path, nullptr) ? path : "";
  };
  EXPECT_EQ(find("tool"), m_Root + "/second/tool");
  EXPECT_EQ(find("other"), m_Root + "/first/other.exe");
  WriteText("tool", "", fs::perms::owner_all);
  EXPECT_EQ(find("tool"), m_Root + "/tool");
  EXPECT_NE(find("host_tests"), "");
}

TEST_F(Search, JavaOfferedIsThatOfJavaHomeElseOfThePath) {
  WriteText("new/lib/server/libjvm.so", "");
  WriteText("new/release", "A=\"b\"\nJAVA_VERSION=\"21-ea\"\n");
  WriteText("new/bin/java", "", fs::perms::owner_all);
  WriteText("old/jre/lib/amd64/server/libjvm.so", "");
  WriteText("old/release", "JAVA_VERSION=\"1.8.0_392\"");
  fs::create_directory("links");
  fs::create_symlink("../new/bin/java", "links/java");
  const struct {
    std::string home, path, version, library;
  } rows[] = {{m_Root + "/new", "", "21", m_Root + "/new/lib/server/libjvm.so"},
              {"", "/none:" + m_Root + "/links", "21", m_Root + "/new/lib/server/libjvm.so"},
              {m_Root + "/old", "", "1.8", m_Root + "/old/jre/lib/amd64/server/libjvm.so"}};
  for (const auto& row : rows) {
    ::setenv("JAVA_HOME", row.home.c_str(), 1);
    ::setenv("PATH", (m_Root + row.path).c_str(), 1);
    const host::JavaRuntime java = host::FindJavaRuntime();
    EXPECT_EQ(java.version, row.version);
    EXPECT_EQ(java.library, row.library);
  }
}

TEST(Java, OptionsAreAdaptedUpToTheClassName) {
  const std::string retired = "-XX:+UseConcMarkSweepGC";
  for (const int version : {0, 13, 14}) {
    Texts arguments = {"java", "-Djava.class.path=a;b c", retired, "Main", "-Djava.class.path=e;f"};
    Texts expected = arguments;
    expected[1] = "-Djava.class.path=a:b c";
    if (version >= 14) expected.erase(expected.begin() + 2);
    host::AdaptJavaArguments(arguments, version);
    EXPECT_EQ(arguments, expected) << version;
  }
}

TEST(RegistryText, ValuesHaveTheirFormsAndMalformedLinesNone) {
  const std::string key = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n";
  const std::string bytes = "REGEDIT4\n\n" + key;
  const std::string wide = "Windows Registry Editor Version 5.00\n\n" + key;
  std::string utf16 = "\xFF\xFE";
  for (const char c : wide + "\"v\"=\"a\"") utf16 += {c, '\0'};
  // The value as its name, type and bytes, with NUL as 0.
  const std::pair<std::string, std::string> rows[] = {
      {bytes + "  \"V\" = \"a b\"  \r\n", "v=1:a b0"},
      {bytes + "\"v\"=\"C:\\\\d\\\\\\\"q\\\"\"", "v=1:C:\\d\\\"q\"0"},
      {bytes + "\"v\"=dword:00636261", "v=4:abc0"},
      {bytes + "\"v\"=hex(2):61,\\\n  62,\\\r\n  00", "v=2:ab0"},
      {wide + "\"v\"=hex(2):61,00,e9,00,00,00", "v=2:a\xC3\xA9" + std::string("0")},
      {wide + "\"v\"=hex(1):3d,d8,00,de,00,d8", "v=1:\xF0\x9F\x98\x80\xEF\xBF\xBD"},
      {utf16, "v=1:a0"},
      // Malformed: the line is skipped, what stood before and after holds.
      {bytes +
           "\"v\"=\"good\"\n\"v\"=\"bad\n\"v\"=\"bad\" x\n\"v\"=bad\nv=\"bad\"\n\"v\"=dword:xyz\n"
           "\"v\"=hex:6\\1\n\"v\"=hex(z):61\n\"v\"=-\n\"v\n=\n;\"v\"=\"bad\"\n\x01\xFF garbage\n",
       "v=1:good0"},
      {bytes + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\B\n\"v\"=\"lost\"", ""},
      {"\"v\"=\"lost\"\n" + bytes, ""}};
  for (const auto& [text, expected] : rows) {
    host::RegistryTree tree = host::ParseRegistryText(text);
    std::string value;
    for (const auto& [name, found] : tree["hkey_local_machine\\software\\a"]) {
      value += name + "=" + std::to_string(found.type) + ":" + found.data;
    }
    std::replace(value.begin(), value.end(), '\0', '0');
    EXPECT_EQ(value, expected) << text;
  }
}
