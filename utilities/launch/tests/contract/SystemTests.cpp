// Files, processes, threads, registry, libraries: the calls' results and their errors.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "Platform.h"
#include "Support.h"

#include <direct.h>
#include <io.h>
#include <tlhelp32.h>

namespace {

std::string g_Program;

// This process's, as the snapshot has it.
DWORD FindParent() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  BOOL found = Process32First(snapshot, &entry);
  while (found && entry.th32ProcessID != GetCurrentProcessId()) {
    found = Process32Next(snapshot, &entry);
  }
  return CloseHandle(snapshot) && found && entry.dwSize == sizeof entry ? entry.th32ParentProcessID
                                                                        : 0;
}

class Process : public InScratch {};
class Registry : public InScratch {};
class Library : public InScratch {};
class Files : public InScratch {
 protected:
  Files() {
    fs::create_directory("folder");
    WriteText("old", "the older and longer text");
    WriteText("new", "new");
  }
};

}  // namespace

TEST_F(Files, CopyReplacesOrSaysWhyNot) {
  const std::tuple<const char*, const char*, DWORD> rows[] = {
      {"missing", "old", ERROR_FILE_NOT_FOUND}, {"missing\\new", "old", ERROR_PATH_NOT_FOUND},
      {"folder", "old", ERROR_ACCESS_DENIED},   {"new", "missing\\old", ERROR_PATH_NOT_FOUND},
      {"new", "folder", ERROR_ACCESS_DENIED},   {"old", "old", ERROR_SHARING_VIOLATION}};
  for (const auto& [source, target, error] : rows) {
    EXPECT_TRUE(Fails(CopyFileA(source, target, FALSE), error)) << source << " to " << target;
  }
  EXPECT_EQ(ReadText("old"), "the older and longer text");
  EXPECT_TRUE(CopyFileA(".\\new", "folder\\../old", FALSE));
  EXPECT_EQ(ReadText("old"), "new");
}

TEST_F(Files, AttributesAreSetAndCleared) {
  for (const DWORD attribute : {DWORD{FILE_ATTRIBUTE_READONLY}, DWORD{FILE_ATTRIBUTE_NORMAL}}) {
    EXPECT_TRUE(SetFileAttributesA(".\\old", attribute));
    EXPECT_EQ((GetFileAttributesA("folder\\../old") ^ attribute) & FILE_ATTRIBUTE_READONLY, 0u);
  }
  EXPECT_TRUE(Fails(GetFileAttributesA("no") != INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND));
  EXPECT_TRUE(Fails(SetFileAttributesA("no\\x", FILE_ATTRIBUTE_NORMAL), ERROR_PATH_NOT_FOUND));
}

TEST_F(Files, AreFoundAndWrittenByEitherSeparator) {
  const fs::path folder = fs::current_path() / "folder";
  const std::size_t size = folder.string().size() + 1;
  char path[1000];
  WriteText("folder/inner/file", "text");
  EXPECT_EQ(_chdir("folder\\inner/.."), 0);
  EXPECT_EQ(_chdir("missing"), -1);
  EXPECT_TRUE(_getcwd(path, static_cast<int>(size)) && path == folder);
  EXPECT_FALSE(_getcwd(path, static_cast<int>(size - 1)));
  EXPECT_TRUE(_fullpath(path, "inner\\..", size) && path == folder);
  EXPECT_FALSE(_fullpath(path, "inner\\..", size - 1));
  std::FILE* file = std::fopen("inner\\file", "r+b");
  EXPECT_EQ(_write(_fileno(file), "TE", 2), 2);
  std::fclose(file);
  EXPECT_EQ(ReadText("inner/file"), "TExt");
  EXPECT_EQ(std::fopen("inner", "rb"), nullptr);  // a directory is no file
}

TEST(Errors, HaveTheSystemsTextOrNone) {
  constexpr DWORD kForm =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  const auto format = [&](DWORD code, char*& text) {
    return FormatMessageA(kForm, nullptr, code, 0x400, reinterpret_cast<char*>(&text), 0, nullptr);
  };
  char* text = nullptr;
  for (const DWORD code : {2, 3, 4, 5, 6, 8, 19, 31, 32, 50, 87, 109, 112, 193, 206, 1117}) {
    const DWORD length = format(code, text);
    ASSERT_TRUE(length > 4 && strcmp(text + length - 3, ".\r\n") == 0) << code;
    EXPECT_EQ(LocalFree(text), nullptr);
  }
  EXPECT_TRUE(Fails(format(0x2FFFFFFF, text) != 0, ERROR_MR_MID_NOT_FOUND));
}

TEST_F(Process, RunsAndGivesItsExitCode) {
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(Start(g_Program, "contract_tests --exit 500 7", child));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_EQ(code, DWORD{STILL_ACTIVE});
  EXPECT_EQ(WaitForSingleObject(child.hProcess, 20), DWORD{WAIT_TIMEOUT});
  constexpr DWORD kRights = SYNCHRONIZE | PROCESS_QUERY_INFORMATION;
  const HANDLE opened = OpenProcess(kRights, FALSE, child.dwProcessId);
  EXPECT_EQ(WaitForSingleObject(opened, INFINITE), DWORD{WAIT_OBJECT_0});
  EXPECT_TRUE(GetExitCodeProcess(opened, &code));
  EXPECT_EQ(code, 7u);
  for (const HANDLE handle : {child.hProcess, child.hThread, opened}) {
    EXPECT_EQ(WaitForSingleObject(handle, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(CloseHandle(handle));
  }
  for (const HANDLE handle : {opened, HANDLE{}}) {
    EXPECT_TRUE(Fails(CloseHandle(handle), ERROR_INVALID_HANDLE));
    EXPECT_TRUE(Fails(GetExitCodeProcess(handle, &code), ERROR_INVALID_HANDLE));
    EXPECT_TRUE(Fails(WaitForSingleObject(handle, 0) != WAIT_FAILED, ERROR_INVALID_HANDLE));
  }
  EXPECT_TRUE(Fails(OpenProcess(kRights, FALSE, 0x7FFFFFF0) != nullptr, ERROR_INVALID_PARAMETER));
  EXPECT_EQ(RunProgram(g_Program, "contract_tests --terminate 0 9"), 9u);
}

TEST_F(Process, IsRefusedWithTheReason) {
  PROCESS_INFORMATION child = {};
  WriteText("text.exe", "no program", fs::perms::owner_all);
  EXPECT_TRUE(Fails(Start("no_such_program", "x", child), ERROR_FILE_NOT_FOUND));
  EXPECT_TRUE(Fails(Start("no_such_folder\\x.exe", "x", child), ERROR_PATH_NOT_FOUND));
  EXPECT_TRUE(Fails(Start(".\\text.exe", "x", child), ERROR_BAD_EXE_FORMAT));
}

TEST_F(Process, IsFoundBesideThisOneAndHasItForAParent) {
  char path[1000];
  const auto search = [&](const char* name, std::size_t size) {
    return SearchPathA(nullptr, name, ".exe", static_cast<DWORD>(size), path, nullptr);
  };
  const std::size_t length = g_Program.size();
  EXPECT_TRUE(search("contract_tests", length + 1) == length && fs::equivalent(path, g_Program));
  EXPECT_EQ(search("contract_tests", length), length + 1);
  EXPECT_TRUE(Fails(search("no_such_program", length) != 0, ERROR_FILE_NOT_FOUND));
  const std::string id = std::to_string(GetCurrentProcessId());
  EXPECT_EQ(RunProgram(g_Program, "contract_tests --parent-is 0 " + id), 0u);
}

TEST(Thread, IsWaitedForUntilItExits) {
  static std::atomic<bool> mayEnd{false};  // outlives the thread for whoever cannot see the wait
  const LPTHREAD_START_ROUTINE wait = [](void* flag) -> DWORD {
    while (!*static_cast<std::atomic<bool>*>(flag)) Sleep(1);
    ExitThread(0);
  };
  const HANDLE thread = CreateThread(nullptr, 0, wait, &mayEnd, 0, nullptr);
  EXPECT_EQ(WaitForSingleObject(thread, 20), DWORD{WAIT_TIMEOUT});
  mayEnd = true;
  EXPECT_EQ(WaitForSingleObject(thread, 10000), DWORD{WAIT_OBJECT_0});
  EXPECT_TRUE(CloseHandle(thread));
}

TEST_F(Registry, GivesTypeSizeAndTextOrTheReason) {
  const std::string name = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contract Test";
  WriteText("contract.reg", "REGEDIT4\r\n\r\n" + name + "]\r\n" + name + "\\Sub Key]\r\n" +
                                "\"Text\"=\"C:\\\\a \\\"b\\\"\"\r\n\"Number\"=dword:00000102\r\n"
                                "\"Expand\"=hex(2):25,\\\r\n  41,25,00\r\n@=\"\"\r\n\r\n");
  LoadRegistry("contract.reg");
  HKEY parent = nullptr, key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "software\\contract TEST", 0, KEY_READ, &parent), 0);
  EXPECT_EQ(RegOpenKeyExA(parent, "Sub", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(RegOpenKeyExA(parent, "Sub Key", 0, KEY_READ, &key), 0);
  BYTE data[100];
  DWORD type = 0, size = 0;
  const auto query = [&](const char* value, std::size_t room) {
    size = static_cast<DWORD>(room);
    return RegQueryValueExA(key, value, nullptr, &type, data, &size);
  };
  for (const auto& [value, text] :
       std::map<const char*, std::string>{{"TEXT", "C:\\a \"b\""}, {"", ""}}) {
    EXPECT_EQ(query(value, text.size() + 1), 0) << text;  // a NUL comes with it
    EXPECT_TRUE(type == REG_SZ && std::string(data, data + size) == text + '\0');
    data[text.size()] = 7;  // beyond the room that is told
    EXPECT_EQ(query(value, text.size()), ERROR_MORE_DATA) << text;
    EXPECT_TRUE(size == text.size() + 1 && data[text.size()] == 7);
  }
  for (const char* value : {"Number", "Expand"}) {
    EXPECT_TRUE(query(value, sizeof data) == ERROR_SUCCESS && type != REG_SZ) << value;
  }
  EXPECT_EQ(query("No", sizeof data), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegCloseKey(key) + RegCloseKey(parent), 0);
}

TEST_F(Library, LoadsByPathAndFindsByNameOrSaysWhyNot) {
  DWORD before = 0;
  EXPECT_TRUE(SetThreadErrorMode(SEM_FAILCRITICALERRORS, &before));
  EXPECT_TRUE(SetDllDirectoryA("C:\\"));
  const HMODULE library = LoadLibraryA(FAKE_JVM);
  EXPECT_TRUE(SetDllDirectoryA(nullptr) && SetThreadErrorMode(before, nullptr));
  EXPECT_TRUE(GetProcAddress(library, "JNI_CreateJavaVM") != nullptr) << GetLastError();
  EXPECT_TRUE(Fails(GetProcAddress(library, "jni_CreateJavaVM") != nullptr, ERROR_PROC_NOT_FOUND));
  char path[1000];
  const DWORD length = GetModuleFileNameA(library, path, sizeof path);
  EXPECT_TRUE(length == strlen(path) && ReadText(path) == ReadText(FAKE_JVM)) << path;
  EXPECT_EQ(GetModuleFileNameA(library, path, length), length);
  EXPECT_TRUE(Fails(false, ERROR_INSUFFICIENT_BUFFER));
  WriteText("garbage.dll", "no library");
  EXPECT_TRUE(Fails(LoadLibraryA(".\\garbage.dll") != nullptr, ERROR_BAD_EXE_FORMAT));
  EXPECT_TRUE(Fails(LoadLibraryA("no_such.dll") != nullptr, ERROR_MOD_NOT_FOUND));
}

// As a child, which sleeps and then ends as its arguments say.
static int RunChild(const std::string& how, unsigned milliseconds, unsigned value) {
  Sleep(milliseconds);
  if (how == "--exit") return static_cast<int>(value);
  if (how == "--parent-is") return FindParent() == value ? 0 : 1;
  std::atexit([] { std::abort(); });
  TerminateProcess(GetCurrentProcess(), value);
  return 1;
}

int main(int argc, char** argv) {
  const auto number = [&](int i) { return static_cast<unsigned>(std::atoi(argv[i])); };
  if (argc == 4) return RunChild(argv[1], number(2), number(3));
  g_Program = fs::absolute(argv[0]).lexically_normal().string();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
