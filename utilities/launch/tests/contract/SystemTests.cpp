// Results and error codes of the calls for processes and libraries.
#include <cstdlib>

#include "Support.h"

namespace {

std::string g_Program;

class Process : public InScratch {};
class Library : public InScratch {};

}  // namespace

TEST_F(Process, HasAnExitCodeOnceTheWaitEnds) {
  PROCESS_INFORMATION child = {};
  ASSERT_TRUE(Start(g_Program, "contract_tests --exit 7 end", child));
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
  EXPECT_EQ(RunProgram(g_Program, "contract_tests --terminate 9"), 9u);
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

// The child: `--exit CODE FILE` exits once the file exists; `--terminate CODE` terminates itself.
static int RunChild(char** argv) {
  const int code = std::atoi(argv[2]);
  if (argv[1] == std::string("--exit")) {
    while (!fs::exists(argv[3])) Sleep(1);
    return code;
  }
  std::atexit([] { std::abort(); });
  TerminateProcess(GetCurrentProcess(), static_cast<unsigned>(code));
  return 1;
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);  // removes its own options
  if (argc > 1) return RunChild(argv);
  g_Program = fs::absolute(argv[0]).lexically_normal().string();
  return RUN_ALL_TESTS();
}
