// Errors, registry, libraries.
#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "Contract.h"

using testing::EndsWith;

TEST(LastError, IsOneSlotPerThreadSharedWithSockets) {
  SetLastError(5);
  EXPECT_EQ(WSAGetLastError(), 5);
  WSASetLastError(WSAENOTCONN);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(WSAENOTCONN));
  std::thread([] { EXPECT_EQ(GetLastError(), 0u); }).join();
}

TEST(FormatMessage, AllocatesTheSystemsTextWithItsLineEnd) {
  constexpr DWORD kFlags =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  for (const DWORD code : {2, 3, 5, 6, 32, 87, 112, 126, 127, 193, 10054, 10061, 11001}) {
    char* text = nullptr;
    const DWORD length =
        FormatMessageA(kFlags, nullptr, code, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                       reinterpret_cast<LPSTR>(&text), 0, nullptr);
    ASSERT_NE(text, nullptr) << code;
    EXPECT_EQ(std::string(text).size(), length);
    EXPECT_GT(length, 10u);
    EXPECT_THAT(text, EndsWith("\r\n"));
    EXPECT_EQ(LocalFree(text), nullptr);
  }
  char* text = nullptr;
  EXPECT_EQ(FormatMessageA(kFlags, nullptr, 0x2FFFFFFF, 0x400, reinterpret_cast<LPSTR>(&text), 0,
                           nullptr),
            0u);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MR_MID_NOT_FOUND));
}

class Registry : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    WriteText("contract.reg",
              "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Contract Test\\Sub Key]\r\n"
              "\"Text\"=\"C:\\\\a \\\"b\\\"\"\r\n\"Number\"=dword:00000102\r\n"
              "\"Expand\"=hex(2):25,\\\r\n  41,25,00\r\n\"Empty\"=\"\"\r\n@=\"default\"\r\n\r\n");
    LoadRegistry("contract.reg");
  }
  void SetUp() override {
    ASSERT_EQ(
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, "software\\contract TEST\\Sub Key", 0, KEY_READ, &m_Key),
        0);
  }
  void TearDown() override { EXPECT_EQ(RegCloseKey(m_Key), 0); }

  HKEY m_Key = nullptr;
};

TEST_F(Registry, GivesTypeSizeAndBytes) {
  const struct {
    const char* name;
    DWORD type;
    std::string data;
  } rows[] = {
      {"Text", REG_SZ, std::string("C:\\a \"b\"") + '\0'},
      {"TEXT", REG_SZ, std::string("C:\\a \"b\"") + '\0'},
      {"Number", REG_DWORD, std::string("\x02\x01\0\0", 4)},
      {"Expand", REG_EXPAND_SZ, std::string("%A%") + '\0'},
      {"Empty", REG_SZ, std::string(1, '\0')},
      {"", REG_SZ, std::string("default") + '\0'},
      {nullptr, REG_SZ, std::string("default") + '\0'},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name != nullptr ? row.name : "(null)");
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(m_Key, row.name, nullptr, &type, nullptr, &size), 0);
    EXPECT_EQ(type, row.type);
    ASSERT_EQ(size, row.data.size());
    std::string data(size, '?');
    EXPECT_EQ(RegQueryValueExA(m_Key, row.name, nullptr, nullptr,
                               reinterpret_cast<BYTE*>(data.data()), &size),
              0);
    EXPECT_EQ(data, row.data);
    --size;
    EXPECT_EQ(RegQueryValueExA(m_Key, row.name, nullptr, &type,
                               reinterpret_cast<BYTE*>(data.data()), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, row.data.size());
  }
}

TEST_F(Registry, TellsWhatIsMissingFromWhatIsWrong) {
  DWORD size = 0;
  BYTE octet = 0;
  EXPECT_EQ(RegQueryValueExA(m_Key, "Missing", nullptr, nullptr, nullptr, &size),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegQueryValueExA(m_Key, "Text", nullptr, nullptr, &octet, nullptr),
            ERROR_INVALID_PARAMETER);
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExA(m_Key, "Missing", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Contract", 0, KEY_READ, &key),
            ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Contract Test", 0, KEY_READ, &key), 0);
  EXPECT_EQ(RegQueryValueExA(key, "Text", nullptr, nullptr, nullptr, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegCloseKey(key), 0);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegQueryValueExA(key, "Text", nullptr, nullptr, nullptr, &size), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegOpenKeyExA(key, "x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
}

TEST(Library, LoadsByPathAndFindsByName) {
  const HMODULE library = LoadLibraryA((g_Folder + "\\contract_library.dll").c_str());
  ASSERT_NE(library, nullptr) << GetLastError();
  const FARPROC answer = GetProcAddress(library, "ContractAnswer");
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(reinterpret_cast<int (*)()>(reinterpret_cast<void*>(answer))(), 42);
  EXPECT_EQ(GetProcAddress(library, "contractanswer"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
}

TEST(Library, ReportsWhyItCannotLoad) {
  WriteText("garbage.dll", "no library");
  const struct {
    const char* name;
    DWORD error;
  } rows[] = {{"no_such_library.dll", ERROR_MOD_NOT_FOUND},
              {".\\no_such_library.dll", ERROR_MOD_NOT_FOUND},
              {"no_such_folder\\garbage.dll", ERROR_MOD_NOT_FOUND},
              {".\\garbage.dll", ERROR_BAD_EXE_FORMAT}};
  for (const auto& row : rows) {
    EXPECT_EQ(LoadLibraryA(row.name), nullptr);
    EXPECT_EQ(GetLastError(), row.error) << row.name;
  }
}
