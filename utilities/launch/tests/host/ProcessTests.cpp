// Programs and children as this host has them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <windows.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

std::string Read(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteProgram(const fs::path& path, const std::string& text,
                  fs::perms permissions = fs::perms::owner_all) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
  fs::permissions(path, permissions);
}

// The error of creation, or the exit code plus 1000.
DWORD RunProgram(const std::string& program, std::string line) {
  STARTUPINFOA startup = {};
  PROCESS_INFORMATION child = {};
  if (!CreateProcessA(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &startup, &child)) {
    return GetLastError();
  }
  DWORD code = 0;
  EXPECT_EQ(WaitForSingleObject(child.hProcess, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  CloseHandle(child.hProcess);
  CloseHandle(child.hThread);
  return code + 1000;
}

DWORD Shell(const std::string& script) {
  return RunProgram("/bin/sh", "sh -c \"" + script + "\"");
}

}  // namespace

TEST(Child, EndsWithEightBitsOrASignal) {
  EXPECT_EQ(Shell("exit 3"), 1003u);
  EXPECT_EQ(Shell("exit 255"), 1255u);
  EXPECT_EQ(Shell("kill -9 $$"), 1128u + SIGKILL);
  EXPECT_EQ(Shell("kill -TERM $$"), 1128u + SIGTERM);
  ::signal(SIGCHLD, SIG_IGN);  // as some parents leave it
  EXPECT_EQ(Shell("exit 4"), 1004u);
}

TEST(Child, HasTheStandardStreamsNoOtherAndNoBlockedSignal) {
  std::FILE* open = std::fopen("descriptors.txt", "w");
  ASSERT_NE(open, nullptr);
  sigset_t blocked;
  ::sigfillset(&blocked);
  ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  EXPECT_EQ(Shell("ls /proc/$$/fd | tr '\\n' ' ' > descriptors.txt; grep SigBlk /proc/$$/status >> "
                  "descriptors.txt"),
            1000u);
  ::sigemptyset(&blocked);
  ::pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
  std::fclose(open);
  EXPECT_EQ(Read("descriptors.txt"), "0 1 2 SigBlk:\t0000000000000000\n");
}

TEST(Child, OfAnotherProcessKeepsItsExitCode) {
  ASSERT_EQ(Shell("sleep 0.3 & echo $! > id.txt"), 1000u);
  const HANDLE other = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE,
                                   static_cast<DWORD>(std::atoi(Read("id.txt").c_str())));
  ASSERT_NE(other, nullptr);
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(other, &code));
  EXPECT_EQ(code, STILL_ACTIVE);
  EXPECT_EQ(WaitForSingleObject(other, 10000), WAIT_OBJECT_0);
  EXPECT_FALSE(GetExitCodeProcess(other, &code));
  EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
  EXPECT_TRUE(CloseHandle(other));
}

TEST(Child, IsRefusedWithItsReason) {
  WriteProgram("programs/plain", "#!/bin/sh\n", fs::perms::owner_read);
  WriteProgram("programs/empty", "");
  WriteProgram("programs/script.exe", "#!/bin/sh\nexit $#\n");
  EXPECT_EQ(RunProgram("programs", "x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RunProgram("programs\\plain", "x"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RunProgram("programs\\plain\\x", "x"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(RunProgram("programs\\empty", "x"), ERROR_BAD_EXE_FORMAT);
  EXPECT_EQ(RunProgram(".\\programs\\script.exe", "x \"a b\" c"), 1002u);
  EXPECT_EQ(RunProgram("programs/script.exe", "x " + std::string(200000, 'a')),
            ERROR_FILENAME_EXCED_RANGE);
}

TEST(Child, NamedJavaGetsItsClassPath) {
  WriteProgram("home/bin/java", "#!/bin/sh\necho \"$*\" > java.txt\n");
  std::ofstream("home/release") << "JAVA_VERSION=\"17\"\n";
  EXPECT_EQ(
      RunProgram("home\\bin\\java", "java -Djava.class.path=a;b -XX:+UseConcMarkSweepGC Main a;b"),
      1000u);
  EXPECT_EQ(Read("java.txt"), "-Djava.class.path=a:b Main a;b\n");
}

TEST(ProgramSearch, GoesOwnDirectoryCurrentDirectoryPath) {
  fs::remove_all("search");
  const std::string root = fs::absolute("search");
  WriteProgram("search/first/tool.exe", "x", fs::perms::owner_read);  // not executable
  WriteProgram("search/first/other", "x");
  WriteProgram("search/first/other.exe", "x");
  fs::create_directories("search/second/tool.exe");  // no file
  WriteProgram("search/second/tool", "x");
  WriteProgram("search/here/tool", "x");
  const std::string path = std::getenv("PATH");
  ::setenv("PATH", (root + "/none::" + root + "/first:" + root + "/second/").c_str(), 1);
  const auto find = [](const char* name) -> std::string {
    char buffer[4096];
    return SearchPathA(nullptr, name, ".exe", sizeof buffer, buffer, nullptr) != 0 ? buffer : "";
  };
  EXPECT_EQ(find("tool"), root + "/second/tool");
  EXPECT_EQ(find("tool.exe"), "");
  EXPECT_EQ(find("other"), root + "/first/other.exe");
  EXPECT_EQ(find((root + "\\first\\other").c_str()), root + "/first/other.exe");
  EXPECT_EQ(find("..\\second\\tool"), root + "/first/../second/tool");
  const fs::path before = fs::current_path();
  fs::current_path("search/here");
  EXPECT_EQ(find("tool"), root + "/here/tool");
  fs::current_path(before);
  EXPECT_NE(find("host_tests"), "");
  ::setenv("PATH", path.c_str(), 1);
}
