// Errors, registry, libraries.
#include <thread>

#include "Contract.h"

TEST(LastError, IsOneSlotPerThreadSharedWithSockets) {
  SetLastError(5);
  EXPECT_EQ(WSAGetLastError(), 5);
  WSASetLastError(WSAENOTCONN);
  EXPECT_TRUE(Fails(false, WSAENOTCONN));
  std::thread([] { EXPECT_EQ(GetLastError(), 0u); }).join();
}

TEST(FormatMessage, AllocatesTheSystemsTextWithItsLineEnd) {
  char* text = nullptr;
  const auto format = [&](DWORD code) {
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    return FormatMessageA(kFlags, nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                          reinterpret_cast<LPSTR>(&text), 0, nullptr);
  };
  for (const DWORD code :
       {2u, 3u, 5u, 6u, 32u, 87u, 112u, 126u, 127u, 193u, 10054u, 10061u, 11001u}) {
    const DWORD length = format(code);
    ASSERT_GT(length, 10u) << code;
    EXPECT_EQ(std::string(text).size(), length);
    EXPECT_STREQ(text + length - 2, "\r\n");
    EXPECT_EQ(LocalFree(text), nullptr);
  }
  EXPECT_TRUE(Fails(format(0x2FFFFFFF) != 0, ERROR_MR_MID_NOT_FOUND));
}

TEST(Registry, GivesTypeSizeAndBytesOrTheReason) {
  WriteText("contract.reg",
            "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contract Test\\Sub Key]\r\n"
            "\"Text\"=\"C:\\\\a \\\"b\\\"\"\r\n\"Number\"=dword:00000102\r\n"
            "\"Expand\"=hex(2):25,\\\r\n  41,25,00\r\n\"Empty\"=\"\"\r\n@=\"default\"\r\n\r\n");
  LoadRegistry("contract.reg");
  const auto open = [](HKEY parent, const char* path) {
    HKEY opened = nullptr;
    EXPECT_EQ(RegOpenKeyExA(parent, path, 0, KEY_READ, &opened), 0);
    return opened;
  };
  const HKEY parent = open(HKEY_LOCAL_MACHINE, "SOFTWARE\\Contract Test");
  const HKEY key = open(HKEY_LOCAL_MACHINE, "software\\contract TEST\\Sub Key");
  const struct {
    HKEY key;
    const char* name;
    DWORD type;
    std::string data;
  } rows[] = {{key, "TEXT", REG_SZ, std::string("C:\\a \"b\"") + '\0'},
              {key, "Number", REG_DWORD, std::string("\x02\x01\0\0", 4)},
              {open(parent, "sub key"), "Expand", REG_EXPAND_SZ, std::string("%A%") + '\0'},
              {key, "Empty", REG_SZ, std::string(1, '\0')},
              {key, "", REG_SZ, std::string("default") + '\0'},
              {key, nullptr, REG_SZ, std::string("default") + '\0'}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.data);
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(row.key, row.name, nullptr, &type, nullptr, &size), 0);
    EXPECT_EQ(type, row.type);
    ASSERT_EQ(size, row.data.size());
    std::string data(size, '?');
    auto* bytes = reinterpret_cast<BYTE*>(data.data());
    EXPECT_EQ(RegQueryValueExA(row.key, row.name, nullptr, nullptr, bytes, &size), 0);
    EXPECT_EQ(data, row.data);
    --size;
    EXPECT_EQ(RegQueryValueExA(row.key, row.name, nullptr, &type, bytes, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, row.data.size());
  }
  DWORD size = 0;
  HKEY none = nullptr;
  const auto query = [&](HKEY from, const char* name) {
    return RegQueryValueExA(from, name, nullptr, nullptr, nullptr, &size);
  };
  EXPECT_EQ(query(key, "Missing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(query(parent, "Text"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegOpenKeyExA(parent, "Sub", 0, KEY_READ, &none), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegCloseKey(key), 0);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(query(key, "Text"), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegOpenKeyExA(key, "x", 0, KEY_READ, &none), ERROR_INVALID_HANDLE);
}

TEST(Library, LoadsByPathAndFindsByNameOrSaysWhyNot) {
  const std::string folder = g_Program.substr(0, g_Program.find_last_of("/\\"));
  const HMODULE library = LoadLibraryA((folder + "\\contract_library.dll").c_str());
  ASSERT_NE(library, nullptr) << GetLastError();
  auto* answer = reinterpret_cast<void*>(GetProcAddress(library, "ContractAnswer"));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(reinterpret_cast<int (*)()>(answer)(), 42);
  EXPECT_TRUE(Fails(GetProcAddress(library, "contractanswer") != nullptr, ERROR_PROC_NOT_FOUND));
  WriteText("garbage.dll", "no library");
  for (const char* name : {"no_such.dll", ".\\no_such.dll", "no_such_folder\\garbage.dll"}) {
    EXPECT_TRUE(Fails(LoadLibraryA(name) != nullptr, ERROR_MOD_NOT_FOUND)) << name;
  }
  EXPECT_TRUE(Fails(LoadLibraryA(".\\garbage.dll") != nullptr, ERROR_BAD_EXE_FORMAT));
}
