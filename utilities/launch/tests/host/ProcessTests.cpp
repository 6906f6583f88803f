// Programs and children as this host has them.
#include <gtest/gtest.h>
#include <winsock2.h>

#include <csignal>
#include <cstdlib>

#include "Support.h"

namespace {

// The error of creation, or the exit code plus 1000.
DWORD Start(const std::string& program, std::string line) {
  STARTUPINFOA startup = {};
  PROCESS_INFORMATION child = {};
  if (!CreateProcessA(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &startup, &child)) {
    return GetLastError();
  }
  DWORD code = 0;
  EXPECT_EQ(WaitForSingleObject(child.hProcess, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_TRUE(CloseHandle(child.hProcess) && CloseHandle(child.hThread));
  return code + 1000;
}

DWORD Shell(const std::string& script) {
  return Start("/bin/sh", "sh -c \"" + script + "\"");
}

}  // namespace

TEST(Child, EndsWithEightBitsOrASignal) {
  EXPECT_EQ(Shell("exit 255"), 1255u);
  EXPECT_EQ(Shell("kill -9 $$"), 1128u + SIGKILL);
  ::signal(SIGCHLD, SIG_IGN);  // as some parents leave it
  EXPECT_EQ(Shell("exit 4"), 1004u);
}

TEST(Child, HasTheStandardStreamsNoOtherAndNoBlockedSignal) {
  std::FILE* open = std::fopen("other.txt", "w");
  ASSERT_NE(open, nullptr);
  sigset_t blocked;
  sigset_t before;
  ::sigfillset(&blocked);
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  EXPECT_EQ(Shell("(ls /proc/$$/fd; grep SigBlk /proc/$$/status) > child.txt"), 1000u);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  std::fclose(open);
  EXPECT_EQ(Read("child.txt"), "0\n1\n2\nSigBlk:\t0000000000000000\n");
}

TEST(Child, OfAnotherProcessKeepsItsExitCode) {
  ASSERT_EQ(Shell("sleep 0.3 & echo $! > id.txt"), 1000u);
  const auto id = static_cast<DWORD>(std::atoi(Read("id.txt").c_str()));
  const HANDLE other = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, id);
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(other, &code));
  EXPECT_EQ(code, STILL_ACTIVE);
  EXPECT_EQ(WaitForSingleObject(other, 10000), WAIT_OBJECT_0);
  EXPECT_FALSE(GetExitCodeProcess(other, &code));
  EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
  EXPECT_TRUE(CloseHandle(other));
}

TEST(Child, RunsOrIsRefusedWithItsReason) {
  Write("programs/plain", "#!/bin/sh\n");
  Write("programs/empty", "", fs::perms::owner_all);
  Write("programs/script.exe", "#!/bin/sh\nexit $#\n", fs::perms::owner_all);
  Write("home/bin/java", "#!/bin/sh\necho \"$*\" > java.txt\n", fs::perms::owner_all);
  Write("home/release", "JAVA_VERSION=\"17\"\n");
  const struct {
    const char* program;
    std::string line;
    DWORD result;
  } rows[] = {
      {"programs", "x", ERROR_ACCESS_DENIED},
      {"programs\\plain", "x", ERROR_ACCESS_DENIED},
      {"programs\\plain\\x", "x", ERROR_PATH_NOT_FOUND},
      {"programs\\empty", "x", ERROR_BAD_EXE_FORMAT},
      {"programs\\script.exe", std::string(200000, 'x'), ERROR_FILENAME_EXCED_RANGE},
      {".\\programs/script.exe", "x \"a b\" c", 1002},
      {"home\\bin\\java", "java -Djava.class.path=a;b -XX:+UseConcMarkSweepGC M c;d", 1000}};
  for (const auto& row : rows) {
    EXPECT_EQ(Start(row.program, row.line), row.result) << row.program;
  }
  EXPECT_EQ(Read("java.txt"), "-Djava.class.path=a:b M c;d\n");
}

TEST(Handle, IsKnownAsClosedAfterItsPlaceWasUsedAgain) {
  const auto open = [] { return OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId()); };
  const HANDLE first = open();
  EXPECT_TRUE(CloseHandle(first));
  const HANDLE second = open();
  EXPECT_FALSE(CloseHandle(first));
  EXPECT_TRUE(CloseHandle(second));
  WSADATA data = {};
  ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
  const auto create = [] { return WSASocketA(AF_INET, SOCK_STREAM, 0, nullptr, 0, 0); };
  const SOCKET old = create();
  EXPECT_EQ(closesocket(old), 0);
  const SOCKET next = create();
  EXPECT_EQ(closesocket(old), SOCKET_ERROR);
  EXPECT_EQ(closesocket(next), 0);
  EXPECT_EQ(WSACleanup(), 0);
}

TEST(ProgramSearch, GoesOwnDirectoryCurrentDirectoryPath) {
  fs::remove_all("search");
  const std::string root = fs::absolute("search");
  const std::string path = Environment("PATH");
  Write("search/first/tool.exe", "not executable");
  Write("search/first/other", "", fs::perms::owner_all);
  Write("search/first/other.exe", "", fs::perms::owner_all);
  fs::create_directories("search/second/tool.exe");
  Write("search/second/tool", "", fs::perms::owner_all);
  Write("search/here/tool", "", fs::perms::owner_all);
  ::setenv("PATH", (root + "/none::" + root + "/first:" + root + "/second/").c_str(), 1);
  const auto find = [](const std::string& name) -> std::string {
    char buffer[4096];
    const DWORD size = sizeof buffer;
    return SearchPathA(nullptr, name.c_str(), ".exe", size, buffer, nullptr) != 0 ? buffer : "";
  };
  EXPECT_EQ(find("tool"), root + "/second/tool");
  EXPECT_EQ(find("tool.exe"), "");
  EXPECT_EQ(find("other"), root + "/first/other.exe");
  EXPECT_EQ(find(root + "\\first\\other"), root + "/first/other.exe");
  const fs::path before = fs::current_path();
  fs::current_path("search/here");
  EXPECT_EQ(find("tool"), root + "/here/tool");
  fs::current_path(before);
  EXPECT_NE(find("host_tests"), "");
  ::setenv("PATH", path.c_str(), 1);
}
