// Results and error codes of the calls for processes and libraries.
#include <cstdlib>

#include "Support.h"

class Process : public InScratch {};
class Library : public InScratch {};

TEST_F(Process, HasAnExitCodeOnceTheWaitEnds) {
  static char scenario[] = "FAKE_JAVA=waits,exit=7";  // for a file "end"
  PROCESS_INFORMATION child = {};
  putenv(scenario);
  ASSERT_TRUE(Start(FAKE_JAVA, "java", child));
  EXPECT_EQ(WaitForSingleObject(child.hProcess, 0), DWORD{WAIT_TIMEOUT});
  constexpr DWORD kRights = SYNCHRONIZE | PROCESS_QUERY_INFORMATION;
  const HANDLE opened = OpenProcess(kRights, FALSE, child.dwProcessId);
  WriteText("end", "");
  EXPECT_EQ(WaitForSingleObject(opened, INFINITE), DWORD{WAIT_OBJECT_0});
  DWORD code = 0;
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_EQ(code, 7u);
  for (const HANDLE handle : {child.hProcess, child.hThread, opened}) {
    EXPECT_EQ(WaitForSingleObject(handle, 0), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_FALSE(CloseHandle(handle));
    EXPECT_EQ(WaitForSingleObject(handle, 0), DWORD{WAIT_FAILED});
  }
  EXPECT_EQ(OpenProcess(kRights, FALSE, 0x7FFFFFF0), nullptr);
}

TEST_F(Process, FailsToStartWithAnErrorCode) {
  PROCESS_INFORMATION child = {};
  WriteText("text.exe", "no program", fs::perms::owner_all);
  EXPECT_TRUE(Fails(Start("no_such_program", "x", child), ERROR_FILE_NOT_FOUND));
  EXPECT_TRUE(Fails(Start("no_such_folder\\x.exe", "x", child), ERROR_PATH_NOT_FOUND));
  EXPECT_TRUE(Fails(Start(".\\text.exe", "x", child), ERROR_BAD_EXE_FORMAT));
}

TEST_F(Library, LoadsByPathAndFindsFunctionsByName) {
  const HMODULE library = LoadLibraryA(FAKE_JVM);
  EXPECT_TRUE(GetProcAddress(library, "JNI_CreateJavaVM") != nullptr) << GetLastError();
  EXPECT_TRUE(GetProcAddress(library, "jni_CreateJavaVM") == nullptr);
  char path[1000];
  const DWORD length = GetModuleFileNameA(library, path, sizeof path);
  EXPECT_TRUE(length == strlen(path) && ReadText(path) == ReadText(FAKE_JVM)) << path;
  EXPECT_EQ(GetModuleFileNameA(library, path, length), length);  // too small by one
  WriteText("garbage.dll", "no library");
  EXPECT_EQ(LoadLibraryA(".\\garbage.dll"), nullptr);
}
