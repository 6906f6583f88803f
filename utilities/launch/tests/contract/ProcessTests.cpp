// Processes, threads, snapshots, and the handles to them.
#include <atomic>
#include <chrono>
#include <filesystem>

#include "Contract.h"

#include <tlhelp32.h>

namespace {

constexpr DWORD kSignalled = WAIT_OBJECT_0;
constexpr DWORD kTimeout = WAIT_TIMEOUT;
constexpr DWORD kStillActive = STILL_ACTIVE;

DWORD RunSelf(const std::string& arguments) {
  PROCESS_INFORMATION child = {};
  DWORD code = 0xFFFFFFFF;
  EXPECT_TRUE(StartSelf(arguments, child)) << GetLastError();
  EXPECT_EQ(WaitForSingleObject(child.hProcess, INFINITE), kSignalled);
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_TRUE(CloseHandle(child.hProcess) && CloseHandle(child.hThread));
  return code;
}

// The parent that the snapshot has for a process, 0 when the process is not in it.
DWORD ParentOf(DWORD id) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  DWORD parent = 0;
  for (BOOL more = Process32First(snapshot, &entry); more; more = Process32Next(snapshot, &entry)) {
    EXPECT_EQ(entry.dwSize, sizeof entry);
    parent = entry.th32ProcessID == id ? entry.th32ParentProcessID : parent;
  }
  EXPECT_TRUE(Fails(false, ERROR_NO_MORE_FILES));
  entry.dwSize -= 4;
  EXPECT_FALSE(Process32First(snapshot, &entry));
  entry.dwSize += 4;
  EXPECT_TRUE(CloseHandle(snapshot));
  EXPECT_TRUE(Fails(Process32First(snapshot, &entry), ERROR_INVALID_HANDLE));
  return parent;
}

std::atomic<int> g_Runs;

DWORD WINAPI SleepAndExit(void* milliseconds) {
  Sleep(*static_cast<DWORD*>(milliseconds));
  ++g_Runs;
  ExitThread(0);
}

DWORD WINAPI Return(void*) {
  ++g_Runs;
  return 0;
}

}  // namespace

TEST(Process, RunsAndGivesItsExitCode) {
  static_assert(sizeof(PROCESSENTRY32) == 304 && offsetof(PROCESSENTRY32, th32ProcessID) == 8 &&
                offsetof(PROCESSENTRY32, th32ParentProcessID) == 32 &&
                offsetof(PROCESSENTRY32, szExeFile) == 44);
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(StartSelf("--exit 500 7", child));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_EQ(code, kStillActive);
  EXPECT_EQ(WaitForSingleObject(child.hProcess, 0), kTimeout);
  EXPECT_EQ(WaitForSingleObject(child.hProcess, 20), kTimeout);
  EXPECT_EQ(ParentOf(child.dwProcessId), GetCurrentProcessId());
  const HANDLE opened =
      OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, child.dwProcessId);
  EXPECT_EQ(WaitForSingleObject(opened, INFINITE), kSignalled);
  EXPECT_EQ(WaitForSingleObject(child.hThread, 1000), kSignalled);
  for (const HANDLE handle : {child.hProcess, opened, child.hProcess}) {
    EXPECT_TRUE(GetExitCodeProcess(handle, &code));
    EXPECT_EQ(code, 7u);
  }
  for (const HANDLE handle : {child.hProcess, child.hThread, opened}) {
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_TRUE(Fails(CloseHandle(handle), ERROR_INVALID_HANDLE));
    EXPECT_TRUE(Fails(GetExitCodeProcess(handle, &code), ERROR_INVALID_HANDLE));
    EXPECT_TRUE(Fails(WaitForSingleObject(handle, 0) != WAIT_FAILED, ERROR_INVALID_HANDLE));
  }
  EXPECT_EQ(RunSelf("--exit 0 255"), 255u);
}

TEST(Process, SplitsItsCommandLine) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""},
      {"a  b\tc ", "[a][b][c]"},
      {"\"a b\" \"\" \"tab\there\"x", "[a b][][tab\therex]"},
      {"a\\b\\\\c \\", "[a\\b\\\\c][\\]"},
      {"\\\"a\\\" \\\\\"b c\" \\\\\\\"d", "[\"a\"][\\b c][\\\"d]"},
      {"\"C:\\x y\\\\\" 'a b;c' $HOME `a` >b", "[C:\\x y\\]['a][b;c'][$HOME][`a`][>b]"}};
  for (const auto& [line, arguments] : rows) {
    EXPECT_EQ(RunSelf("--write arguments.txt " + std::string(line)), 0u);
    EXPECT_EQ(ReadText("arguments.txt"), arguments) << line;
  }
}

TEST(Process, IsFoundOrRefusedWithTheReason) {
  WriteText("text.exe", "no program");
  std::filesystem::permissions("text.exe", std::filesystem::perms::owner_all);
  const std::pair<const char*, DWORD> rows[] = {{"no_such_program", ERROR_FILE_NOT_FOUND},
                                                {"no_such_folder\\x.exe", ERROR_PATH_NOT_FOUND},
                                                {".\\text.exe", ERROR_BAD_EXE_FORMAT}};
  for (const auto& [program, error] : rows) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child = {};
    char line[] = "x";
    EXPECT_TRUE(Fails(CreateProcessA(program, line, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                     &startup, &child),
                      error))
        << program;
  }
  char path[1024] = "";
  char* name = nullptr;
  const DWORD length = SearchPathA(nullptr, "contract_tests", ".exe", sizeof path, path, &name);
  ASSERT_GT(length, 0u);
  EXPECT_EQ(std::string(path).size(), length);
  EXPECT_EQ(std::string(name).substr(0, 14), "contract_tests");
  EXPECT_TRUE(std::filesystem::equivalent(path, g_Program));
  EXPECT_EQ(SearchPathA(nullptr, "contract_tests", ".exe", length, path, nullptr), length + 1);
  EXPECT_TRUE(
      Fails(SearchPathA(nullptr, "no_such_program", ".exe", sizeof path, path, nullptr) != 0,
            ERROR_FILE_NOT_FOUND));
}

TEST(Process, IsOpenedByItsIdForWhatWasAsked) {
  for (const DWORD id : {DWORD{0}, DWORD{0x7FFFFFF0}}) {
    EXPECT_TRUE(Fails(OpenProcess(SYNCHRONIZE, FALSE, id) != nullptr, ERROR_INVALID_PARAMETER));
  }
  const HANDLE query = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, GetCurrentProcessId());
  const HANDLE wait = OpenProcess(SYNCHRONIZE, FALSE, GetCurrentProcessId());
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(query, &code));
  EXPECT_EQ(code, kStillActive);
  EXPECT_EQ(WaitForSingleObject(wait, 0), kTimeout);
  EXPECT_TRUE(Fails(WaitForSingleObject(query, 0) != WAIT_FAILED, ERROR_ACCESS_DENIED));
  EXPECT_TRUE(Fails(GetExitCodeProcess(wait, &code), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(CloseHandle(query) && CloseHandle(wait));
}

TEST(Thread, RunsEndsAndIsWaitedFor) {
  const auto before = std::chrono::steady_clock::now();
  DWORD pause = 300;
  g_Runs = 0;
  const HANDLE slow = CreateThread(nullptr, 0, SleepAndExit, &pause, 0, nullptr);
  const HANDLE quick = CreateThread(nullptr, 0, Return, nullptr, 0, nullptr);
  EXPECT_EQ(WaitForSingleObject(quick, INFINITE), kSignalled);
  EXPECT_EQ(WaitForSingleObject(slow, 0), kTimeout);
  EXPECT_EQ(g_Runs, 1);
  EXPECT_EQ(WaitForSingleObject(slow, 10000), kSignalled);
  EXPECT_EQ(WaitForSingleObject(slow, INFINITE), kSignalled);
  EXPECT_EQ(g_Runs, 2);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(pause - 1));
  DWORD code = 0;
  EXPECT_TRUE(Fails(GetExitCodeProcess(slow, &code), ERROR_INVALID_HANDLE));
  EXPECT_TRUE(CloseHandle(slow) && CloseHandle(quick));
  // A handle given up before the thread's end neither waits nor stops it.
  EXPECT_TRUE(CloseHandle(CreateThread(nullptr, 0, Return, nullptr, 0, nullptr)));
  for (int i = 0; i < 1000 && g_Runs != 3; ++i) {
    Sleep(5);
  }
  EXPECT_EQ(g_Runs, 3);
}
