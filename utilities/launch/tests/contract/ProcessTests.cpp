// Processes, threads, snapshots, and the handles to them.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>

#include "Contract.h"

#include <tlhelp32.h>

namespace {

DWORD RunSelf(const std::string& arguments) {
  PROCESS_INFORMATION child = {};
  DWORD code = 0xFFFFFFFF;
  EXPECT_TRUE(StartSelf(arguments, child)) << GetLastError();
  EXPECT_EQ(WaitForSingleObject(child.hProcess, INFINITE), static_cast<DWORD>(WAIT_OBJECT_0));
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_TRUE(CloseHandle(child.hProcess));
  EXPECT_TRUE(CloseHandle(child.hThread));
  return code;
}

// The parent that the snapshot has for a process, 0 when the process is not in it.
DWORD ParentOf(DWORD id) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  EXPECT_NE(snapshot, INVALID_HANDLE_VALUE);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  DWORD parent = 0;
  for (BOOL more = Process32First(snapshot, &entry); more; more = Process32Next(snapshot, &entry)) {
    EXPECT_EQ(entry.dwSize, sizeof entry);
    parent = entry.th32ProcessID == id ? entry.th32ParentProcessID : parent;
  }
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_FILES));
  EXPECT_TRUE(CloseHandle(snapshot));
  return parent;
}

std::atomic<int> g_Runs;

DWORD WINAPI RunAndExit(void* parameter) {
  Sleep(static_cast<DWORD>(*static_cast<int*>(parameter)));
  ++g_Runs;
  ExitThread(0);
}

DWORD WINAPI RunAndReturn(void*) {
  ++g_Runs;
  return 0;
}

}  // namespace

TEST(Process, RunsAndGivesItsExitCode) {
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(StartSelf("--exit 500 7", child));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_EQ(code, static_cast<DWORD>(STILL_ACTIVE));
  EXPECT_EQ(WaitForSingleObject(child.hProcess, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(WaitForSingleObject(child.hProcess, 20), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(ParentOf(child.dwProcessId), GetCurrentProcessId());
  const HANDLE opened =
      OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, child.dwProcessId);
  ASSERT_NE(opened, nullptr);
  EXPECT_EQ(WaitForSingleObject(opened, INFINITE), static_cast<DWORD>(WAIT_OBJECT_0));
  EXPECT_EQ(WaitForSingleObject(child.hThread, 1000), static_cast<DWORD>(WAIT_OBJECT_0));
  for (const HANDLE handle : {child.hProcess, opened, child.hProcess}) {
    EXPECT_TRUE(GetExitCodeProcess(handle, &code));
    EXPECT_EQ(code, 7u);
  }
  for (const HANDLE handle : {child.hProcess, child.hThread, opened}) {
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_FALSE(CloseHandle(handle));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  }
  EXPECT_FALSE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(WaitForSingleObject(child.hProcess, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(RunSelf("--exit 0 255"), 255u);
}

TEST(Process, SplitsItsCommandLine) {
  const struct {
    const char* line;
    const char* arguments;
  } rows[] = {{"", ""},
              {"a  b\tc ", "[a][b][c]"},
              {"\"a b\" \"\" c", "[a b][][c]"},
              {"\"tab\there\"x", "[tab\therex]"},
              {"a\\b\\\\c \\", "[a\\b\\\\c][\\]"},
              {"\\\"a\\\" \\\\\"b c\" \\\\\\\"d", "[\"a\"][\\b c][\\\"d]"},
              {"-Djava.class.path=a;b 'c d'", "[-Djava.class.path=a;b]['c][d']"},
              {"\"C:\\x y\\\\\" $HOME `a` >b", "[C:\\x y\\][$HOME][`a`][>b]"}};
  for (const auto& row : rows) {
    EXPECT_EQ(RunSelf("--write arguments.txt " + std::string(row.line)), 0u);
    EXPECT_EQ(ReadText("arguments.txt"), row.arguments) << row.line;
  }
}

TEST(Process, CreationReportsWhyItFailed) {
  namespace fs = std::filesystem;
  WriteText("text.exe", "no program");
  fs::permissions("text.exe", fs::perms::owner_all);
  const struct {
    const char* program;
    DWORD error;
  } rows[] = {{"no_such_program", ERROR_FILE_NOT_FOUND},
              {"no_such_folder\\program.exe", ERROR_PATH_NOT_FOUND},
              {".\\text.exe", ERROR_BAD_EXE_FORMAT}};
  for (const auto& row : rows) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child = {};
    char line[] = "x";
    EXPECT_FALSE(CreateProcessA(row.program, line, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                &startup, &child));
    EXPECT_EQ(GetLastError(), row.error) << row.program;
  }
}

TEST(Process, IsFoundByItsNameBesideTheProgram) {
  char path[1024] = "";
  char* name = nullptr;
  const DWORD length = SearchPathA(nullptr, "contract_tests", ".exe", sizeof path, path, &name);
  ASSERT_GT(length, 0u);
  EXPECT_EQ(std::string(path).size(), length);
  EXPECT_EQ(std::string(name).substr(0, 14), "contract_tests");
  EXPECT_TRUE(std::filesystem::equivalent(path, g_Program));
  EXPECT_EQ(SearchPathA(nullptr, "contract_tests", ".exe", length, path, nullptr), length + 1);
  EXPECT_EQ(SearchPathA(nullptr, "no_such_program", ".exe", sizeof path, path, nullptr), 0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(Process, IsOpenedByItsId) {
  for (const DWORD id : {DWORD{0}, DWORD{0x7FFFFFF0}}) {
    EXPECT_EQ(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, id), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << id;
  }
  const HANDLE own = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, GetCurrentProcessId());
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(own, &code));
  EXPECT_EQ(code, static_cast<DWORD>(STILL_ACTIVE));
  EXPECT_EQ(WaitForSingleObject(own, 0), WAIT_FAILED);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(CloseHandle(own));
  const HANDLE waitOnly = OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId());
  EXPECT_EQ(WaitForSingleObject(waitOnly, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_FALSE(GetExitCodeProcess(waitOnly, &code));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_TRUE(CloseHandle(waitOnly));
}

TEST(Snapshot, HasTheLayoutOf64BitWindowsAndRefusesWhatIsWrong) {
  static_assert(sizeof(PROCESSENTRY32) == 304 && offsetof(PROCESSENTRY32, th32ProcessID) == 8 &&
                offsetof(PROCESSENTRY32, th32ParentProcessID) == 32 &&
                offsetof(PROCESSENTRY32, szExeFile) == 44);
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry - 4;
  EXPECT_FALSE(Process32First(snapshot, &entry));
  EXPECT_TRUE(CloseHandle(snapshot));
  entry.dwSize = sizeof entry;
  EXPECT_FALSE(Process32First(snapshot, &entry));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(Thread, RunsEndsAndIsWaitedFor) {
  g_Runs = 0;
  int pause = 300;
  const HANDLE slow = CreateThread(nullptr, 0, RunAndExit, &pause, 0, nullptr);
  const HANDLE quick = CreateThread(nullptr, 0, RunAndReturn, nullptr, 0, nullptr);
  ASSERT_TRUE(slow != nullptr && quick != nullptr && slow != quick);
  EXPECT_EQ(WaitForSingleObject(quick, INFINITE), static_cast<DWORD>(WAIT_OBJECT_0));
  EXPECT_EQ(WaitForSingleObject(slow, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(g_Runs, 1);
  EXPECT_EQ(WaitForSingleObject(slow, 10000), static_cast<DWORD>(WAIT_OBJECT_0));
  EXPECT_EQ(WaitForSingleObject(slow, INFINITE), static_cast<DWORD>(WAIT_OBJECT_0));
  EXPECT_EQ(g_Runs, 2);
  DWORD code = 0;
  EXPECT_FALSE(GetExitCodeProcess(slow, &code));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_TRUE(CloseHandle(slow));
  EXPECT_TRUE(CloseHandle(quick));
  // A handle given up before the thread's end neither waits nor stops it.
  EXPECT_TRUE(CloseHandle(CreateThread(nullptr, 0, RunAndReturn, nullptr, 0, nullptr)));
  for (int i = 0; i < 1000 && g_Runs != 3; ++i) {
    Sleep(5);
  }
  EXPECT_EQ(g_Runs, 3);
  // The new handle may use the old one's place, but is not it.
  const HANDLE next = CreateThread(nullptr, 0, RunAndReturn, nullptr, 0, nullptr);
  EXPECT_EQ(WaitForSingleObject(next, INFINITE), static_cast<DWORD>(WAIT_OBJECT_0));
  EXPECT_TRUE(CloseHandle(next));
}

TEST(Sleeping, LastsAsLongAsAsked) {
  const auto before = std::chrono::steady_clock::now();
  Sleep(50);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(49));
}
