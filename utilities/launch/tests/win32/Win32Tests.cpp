// Results and error codes of the calls for files, the registry, processes, libraries and sockets.
#include <cstdlib>
#include <cstring>

#include "Peer.h"

class Files : public InScratch {};
class Search : public InScratch {};
class RegistryKeys : public InScratch {};
class Process : public InScratch {};
class Library : public InScratch {};

TEST_F(Files, AreCopiedUnlessMissingOrFolders) {
  WriteText("source", "new");
  WriteText("target", "old");
  fs::create_directory("folder");
  const std::tuple<const char*, const char*, DWORD> rows[] = {
      {"missing", "target", ERROR_FILE_NOT_FOUND},
      {"missing\\new", "target", ERROR_PATH_NOT_FOUND},
      {"source", "missing\\new", ERROR_PATH_NOT_FOUND},
      {"folder", "new", ERROR_ACCESS_DENIED},
      {"source", "folder", ERROR_ACCESS_DENIED},
      {"source", "source", ERROR_SHARING_VIOLATION}};
  for (const auto& [source, target, error] : rows) {
    EXPECT_TRUE(Fails(CopyFileA(source, target, FALSE), error)) << source << " to " << target;
  }
  EXPECT_EQ(ReadText("source") + ReadText("target"), "newold");
  EXPECT_TRUE(SetFileAttributesA("target", FILE_ATTRIBUTE_READONLY));
  EXPECT_NE(GetFileAttributesA("target") & FILE_ATTRIBUTE_READONLY, 0u);
  EXPECT_TRUE(SetFileAttributesA("target", FILE_ATTRIBUTE_NORMAL));
  EXPECT_EQ(GetFileAttributesA("target") & FILE_ATTRIBUTE_READONLY, 0u);
  EXPECT_TRUE(CopyFileA("source", "target", FALSE));
  EXPECT_EQ(ReadText("target"), "new");
  for (const auto& [file, error] : {std::pair{"missing", DWORD{ERROR_FILE_NOT_FOUND}},
                                    std::pair{"missing\\x", DWORD{ERROR_PATH_NOT_FOUND}}}) {
    EXPECT_TRUE(Fails(GetFileAttributesA(file) != INVALID_FILE_ATTRIBUTES, error)) << file;
    EXPECT_TRUE(Fails(SetFileAttributesA(file, FILE_ATTRIBUTE_NORMAL), error)) << file;
  }
}

TEST_F(Search, GoesThroughTheCurrentDirectoryAndPath) {
  const std::string former = std::getenv("PATH");
  SetVariable("PATH", fs::absolute("folder").string());
  WriteText("folder/tool.exe", "found on PATH", fs::perms::owner_all);
  std::string path(4096, '\0');
  for (const char* text : {"found on PATH", "found here"}) {
    const DWORD length = SearchPathA(nullptr, "tool", ".exe", 4096, path.data(), nullptr);
    EXPECT_EQ(length, strlen(path.c_str()));
    EXPECT_EQ(ReadText(path.c_str()), text);
    EXPECT_EQ(SearchPathA(nullptr, "tool", ".exe", length, path.data(), nullptr), length + 1);
    WriteText("tool.exe", "found here", fs::perms::owner_all);
  }
  const DWORD none = SearchPathA(nullptr, "no_such_tool", ".exe", 4096, path.data(), nullptr);
  EXPECT_TRUE(Fails(none != 0, ERROR_FILE_NOT_FOUND));
  SetVariable("PATH", former);
}

TEST_F(RegistryKeys, HaveTextsAndOtherValues) {
  // A key that every Windows has; the layer reads it from the file.
  const std::string name = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
  WriteText("keys", "[HKEY_LOCAL_MACHINE\\" + name +
                        "]\n\"CurrentVersion\"=\"6.3\"\n\"InstallDate\"=dword:0");
  SetVariable("TORVEL_REGISTRY", "keys");
  HKEY key = nullptr, none = nullptr;
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, (name + "\\No").c_str(), 0, KEY_READ, &none),
            ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\MICROSOFT\\windows nt\\CurrentVersion", 0,
                          KEY_READ, &key),
            ERROR_SUCCESS);
  char text[100] = "";
  DWORD type = 0, size = sizeof text;
  const auto query = [&](const char* value) {
    return RegQueryValueExA(key, value, nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
  };
  EXPECT_EQ(query("currentVERSION"), ERROR_SUCCESS);
  EXPECT_EQ(type, DWORD{REG_SZ});
  EXPECT_TRUE(strlen(text) == 3 && text[1] == '.') << text;
  EXPECT_EQ(size--, 4u);
  EXPECT_EQ(query("CurrentVersion"), ERROR_MORE_DATA);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(query("InstallDate"), ERROR_SUCCESS);
  EXPECT_NE(type, DWORD{REG_SZ});
  EXPECT_EQ(query("no such value"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST(ErrorTexts, EndTheirLine) {
  const DWORD flags =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  char* text = nullptr;
  const auto format = [&](DWORD code) {
    return FormatMessageA(flags, nullptr, code, 0x400, reinterpret_cast<char*>(&text), 0, nullptr);
  };
  for (const DWORD code :
       {2u, 3u, 4u, 5u, 6u, 8u, 19u, 31u, 32u, 50u, 87u, 109u, 112u, 193u, 206u}) {
    const std::size_t length = format(code);
    ASSERT_GT(length, 2u) << code;
    EXPECT_EQ(length, strlen(text)) << code;
    EXPECT_STREQ(text + length - 2, "\r\n") << code;
    EXPECT_EQ(LocalFree(text), nullptr);
  }
  EXPECT_TRUE(Fails(format(0x2FFFFFFF) != 0, ERROR_MR_MID_NOT_FOUND));
}

TEST_F(Process, HasAnExitCodeOnceTheWaitEnds) {
  PROCESS_INFORMATION child = {};
  SetVariable("FAKE_JAVA", "waits,exit=7");  // for a file "end"
  ASSERT_TRUE(Start(kFakes + FAKE_JAVA, "java", child));
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
  ASSERT_TRUE(CopyFileA((kFakes + FAKE_JVM).c_str(), "fake.dll", FALSE));
  const HMODULE library = LoadLibraryA(".\\fake.dll");
  EXPECT_TRUE(GetProcAddress(library, "JNI_CreateJavaVM") != nullptr) << GetLastError();
  EXPECT_TRUE(GetProcAddress(library, "jni_CreateJavaVM") == nullptr);
  char path[1000];
  const DWORD length = GetModuleFileNameA(library, path, sizeof path);
  EXPECT_TRUE(length == strlen(path) && ReadText(path) == ReadText("fake.dll")) << path;
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
