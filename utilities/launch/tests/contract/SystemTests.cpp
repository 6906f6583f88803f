// Files, processes, threads, registry, libraries: the calls' results and their errors.
#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "Platform.h"
#include "Support.h"

namespace {

std::string g_Program;

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
  EXPECT_EQ(std::fopen("folder", "rb"), nullptr);  // a directory is no file for the runtime either
}

TEST_F(Files, ReadOnlyAttributeIsSetAndCleared) {
  for (const DWORD attribute : {DWORD{FILE_ATTRIBUTE_READONLY}, DWORD{FILE_ATTRIBUTE_NORMAL}}) {
    EXPECT_TRUE(SetFileAttributesA("old", attribute));
    EXPECT_EQ((GetFileAttributesA("old") ^ attribute) & FILE_ATTRIBUTE_READONLY, 0u);
  }
  EXPECT_TRUE(Fails(GetFileAttributesA("no") != INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND));
  EXPECT_TRUE(Fails(SetFileAttributesA("no\\x", FILE_ATTRIBUTE_NORMAL), ERROR_PATH_NOT_FOUND));
}

TEST_F(Process, RunsAndGivesItsExitCode) {
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(Start(g_Program, "contract_tests --exit 500 7", child));
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_EQ(code, DWORD{STILL_ACTIVE});
  EXPECT_EQ(WaitForSingleObject(child.hProcess, 20), DWORD{WAIT_TIMEOUT});
  const HANDLE opened =
      OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, child.dwProcessId);
  EXPECT_EQ(WaitForSingleObject(opened, INFINITE), DWORD{WAIT_OBJECT_0});
  EXPECT_TRUE(GetExitCodeProcess(opened, &code));
  EXPECT_EQ(code, 7u);
  for (const HANDLE handle : {child.hProcess, child.hThread, opened}) {
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_TRUE(Fails(CloseHandle(handle), ERROR_INVALID_HANDLE));
  }
  EXPECT_TRUE(Fails(GetExitCodeProcess(opened, &code), ERROR_INVALID_HANDLE));
  EXPECT_TRUE(Fails(WaitForSingleObject(opened, 0) != WAIT_FAILED, ERROR_INVALID_HANDLE));
  const HANDLE unknown = OpenProcess(SYNCHRONIZE, FALSE, 0x7FFFFFF0);
  EXPECT_TRUE(Fails(unknown != nullptr, ERROR_INVALID_PARAMETER));
}

TEST_F(Process, IsRefusedWithTheReason) {
  WriteText("text.exe", "no program", fs::perms::owner_all);
  const std::pair<const char*, DWORD> rows[] = {{"no_such_program", ERROR_FILE_NOT_FOUND},
                                                {"no_such_folder\\x.exe", ERROR_PATH_NOT_FOUND},
                                                {".\\text.exe", ERROR_BAD_EXE_FORMAT}};
  for (const auto& [program, error] : rows) {
    PROCESS_INFORMATION child = {};
    EXPECT_TRUE(Fails(Start(program, "x", child), error)) << program;
  }
}

TEST(Thread, IsWaitedForUntilItExits) {
  std::atomic<bool> mayEnd{false};
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

TEST_F(Registry, GivesTypeSizeAndBytesOrTheReason) {
  WriteText("contract.reg",
            "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contract Test\\Sub Key]\r\n"
            "\"Text\"=\"C:\\\\a \\\"b\\\"\"\r\n\"Number\"=dword:00000102\r\n"
            "\"Expand\"=hex(2):25,\\\r\n  41,25,00\r\n\r\n");
  LoadRegistry("contract.reg");
  HKEY parent = nullptr;
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "software\\contract TEST", 0, KEY_READ, &parent), 0);
  EXPECT_EQ(RegOpenKeyExA(parent, "Sub", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(RegOpenKeyExA(parent, "Sub Key", 0, KEY_READ, &key), 0);
  const std::tuple<const char*, DWORD, std::string> rows[] = {
      {"TEXT", REG_SZ, std::string("C:\\a \"b\"") + '\0'},
      {"Number", REG_DWORD, std::string("\x02\x01\0\0", 4)},
      {"Expand", REG_EXPAND_SZ, std::string("%A%") + '\0'}};
  DWORD type = 0;
  for (const auto& [name, expectedType, expected] : rows) {
    BYTE data[100];
    DWORD size = sizeof data;
    EXPECT_EQ(RegQueryValueExA(key, name, nullptr, &type, data, &size), 0) << name;
    EXPECT_EQ(type, expectedType) << name;
    EXPECT_EQ(std::string(data, data + size), expected);
    --size;
    EXPECT_EQ(RegQueryValueExA(key, name, nullptr, &type, data, &size), ERROR_MORE_DATA) << name;
    EXPECT_EQ(size, expected.size());
  }
  EXPECT_EQ(RegQueryValueExA(key, "No", nullptr, &type, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegCloseKey(key), 0);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
}

TEST_F(Library, LoadsByPathAndFindsByNameOrSaysWhyNot) {
  const HMODULE library = LoadLibraryA(FAKE_JVM);
  EXPECT_TRUE(GetProcAddress(library, "JNI_CreateJavaVM") != nullptr) << GetLastError();
  EXPECT_TRUE(Fails(GetProcAddress(library, "jni_CreateJavaVM") != nullptr, ERROR_PROC_NOT_FOUND));
  WriteText("garbage.dll", "no library");
  EXPECT_TRUE(Fails(LoadLibraryA(".\\garbage.dll") != nullptr, ERROR_BAD_EXE_FORMAT));
  EXPECT_TRUE(Fails(LoadLibraryA("no_such.dll") != nullptr, ERROR_MOD_NOT_FOUND));
}

// "--exit MILLISECONDS CODE", as a child, sleeps and ends.
int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--exit") {
    Sleep(static_cast<DWORD>(std::atoi(argv[2])));
    return std::atoi(argv[3]);
  }
  g_Program = fs::absolute(argv[0]).string();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
