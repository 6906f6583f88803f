// Results and error codes of the calls for processes, libraries and blocking streams.
#include <cstdlib>

#include "Peer.h"

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

TEST_F(Sockets, EveryStateHasItsErrors) {
  EXPECT_TRUE(Fails(Receive() >= 0, WSAENOTCONN));
  EXPECT_TRUE(Fails(shutdown(m_Socket, SD_BOTH) == 0, WSAENOTCONN));
  Peer peer;
  Join(peer);
  EXPECT_TRUE(Fails(peer.Join(m_Socket) == 0, WSAEISCONN));
  EXPECT_EQ(shutdown(m_Socket, SD_BOTH), 0);
  EXPECT_TRUE(Fails(Send("x") >= 0, WSAESHUTDOWN));
  EXPECT_TRUE(Fails(Receive() >= 0, WSAESHUTDOWN));
  Join(peer);
  peer.Send("ab");
  peer.Close();
  EXPECT_TRUE(Receive() == 2 && m_Bytes.substr(0, 2) == "ab");
  EXPECT_EQ(Receive(), 0);  // the end stays one
  closesocket(std::exchange(m_Socket, Create()));
  peer.StopListening();
  EXPECT_TRUE(Fails(peer.Join(m_Socket) == 0, WSAECONNREFUSED));
  // Longer than any name may be, so that no name server is asked.
  EXPECT_EQ(gethostbyname(std::string(300, 'a').c_str()), nullptr);
  EXPECT_NE(gethostbyname("localhost"), nullptr);
  EXPECT_EQ(WSACleanup(), 0);
  EXPECT_TRUE(Fails(WSACleanup() == 0, WSANOTINITIALISED));
  EXPECT_TRUE(Fails(Create() != INVALID_SOCKET, WSANOTINITIALISED));
  WSADATA data = {};
  EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
}
