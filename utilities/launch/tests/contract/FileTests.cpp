// Copying, attributes, and the C runtime's calls for files.
#include <direct.h>

#include <cstdio>
#include <filesystem>

#include "Contract.h"

namespace fs = std::filesystem;

class Files : public testing::Test {
 protected:
  void SetUp() override {
    TearDown();
    fs::create_directories("files/folder");
    WriteText("files/old", "the older and longer text");
    WriteText("files/new", "new");
    WriteText("files/locked", "locked");
    fs::permissions("files/locked", fs::perms::owner_read);
  }
  void TearDown() override {
    std::error_code none;
    for (const char* path : {"files/locked", "files/copy"}) {
      fs::permissions(path, fs::perms::owner_all, none);
    }
    fs::remove_all("files");
  }
};

TEST_F(Files, CopyReplacesOrSaysWhyNot) {
  const struct {
    const char* source;
    const char* target;
    BOOL failIfExists;
    DWORD error;
  } rows[] = {{"files\\missing", "files\\old", FALSE, ERROR_FILE_NOT_FOUND},
              {"missing\\new", "files\\old", FALSE, ERROR_PATH_NOT_FOUND},
              {"", "files\\old", FALSE, ERROR_PATH_NOT_FOUND},
              {"files\\folder", "files\\old", FALSE, ERROR_ACCESS_DENIED},
              {"files\\new", "missing\\old", FALSE, ERROR_PATH_NOT_FOUND},
              {"files\\new", "files\\folder", FALSE, ERROR_ACCESS_DENIED},
              {"files\\new", "files\\locked", TRUE, ERROR_FILE_EXISTS},
              {"files\\old", "files\\old", FALSE, ERROR_SHARING_VIOLATION}};
  for (const auto& row : rows) {
    EXPECT_TRUE(Fails(CopyFileA(row.source, row.target, row.failIfExists), row.error))
        << row.source << " to " << row.target;
  }
  EXPECT_EQ(ReadText("files/old"), "the older and longer text");
  EXPECT_EQ(ReadText("files/locked"), "locked");
  EXPECT_TRUE(CopyFileA("files\\new", "files\\old", FALSE));
  EXPECT_TRUE(CopyFileA("files/old", "files\\fresh", TRUE));
  EXPECT_EQ(ReadText("files/fresh"), "new");
  fs::last_write_time("files/locked", fs::last_write_time("files/new") - std::chrono::hours(30));
  EXPECT_TRUE(CopyFileA("files\\locked", "files\\copy", FALSE));
  EXPECT_NE(GetFileAttributesA("files\\copy") & FILE_ATTRIBUTE_READONLY, 0u);
  EXPECT_EQ(fs::last_write_time("files/copy"), fs::last_write_time("files/locked"));
}

TEST_F(Files, ReadOnlyAttributeCanBeReadSetAndCleared) {
  const char* path = "files\\locked";
  const auto isReadOnly = [&] { return (GetFileAttributesA(path) & FILE_ATTRIBUTE_READONLY) != 0; };
  EXPECT_TRUE(isReadOnly());
  EXPECT_TRUE(SetFileAttributesA(path, GetFileAttributesA(path) & ~DWORD{FILE_ATTRIBUTE_READONLY}));
  EXPECT_FALSE(isReadOnly());
  EXPECT_TRUE(CopyFileA("files\\new", path, FALSE));
  EXPECT_TRUE(SetFileAttributesA(path, FILE_ATTRIBUTE_READONLY) && isReadOnly());
  EXPECT_TRUE(SetFileAttributesA(path, FILE_ATTRIBUTE_NORMAL) && !isReadOnly());
  EXPECT_EQ(GetFileAttributesA("files\\folder"), DWORD{FILE_ATTRIBUTE_DIRECTORY});
  for (const auto& [none, error] :
       {std::pair("files\\no", ERROR_FILE_NOT_FOUND), std::pair("none\\x", ERROR_PATH_NOT_FOUND)}) {
    const auto code = static_cast<DWORD>(error);
    EXPECT_TRUE(Fails(GetFileAttributesA(none) != INVALID_FILE_ATTRIBUTES, code)) << none;
    EXPECT_TRUE(Fails(SetFileAttributesA(none, FILE_ATTRIBUTE_NORMAL), code)) << none;
  }
}

TEST_F(Files, RuntimeTakesEitherSeparatorAndOpensNoDirectory) {
  const std::pair<const char*, bool> rows[] = {
      {"files\\old", true},     {"files/old", true}, {".\\files/folder\\..\\old", true},
      {"files\\folder", false}, {".", false},        {"no\\old", false}};
  for (const auto& [path, isFile] : rows) {
    std::FILE* file = std::fopen(path, "rb");
    EXPECT_EQ(file != nullptr, isFile) << path;
    if (file != nullptr) {
      std::fclose(file);
    }
  }
  char before[1024];
  char text[1024];
  ASSERT_EQ(_getcwd(before, sizeof before), before);
  EXPECT_EQ(_chdir("files\\folder"), 0);
  ASSERT_NE(_getcwd(text, sizeof text), nullptr);
  const std::size_t length = std::string(text).size();
  EXPECT_EQ(length, std::string(before).size() + 13);
  EXPECT_EQ(_getcwd(text, static_cast<int>(length)), nullptr);
  EXPECT_NE(_chdir("missing"), 0);
  EXPECT_EQ(_chdir("..\\.."), 0);
  ASSERT_NE(_getcwd(text, sizeof text), nullptr);
  EXPECT_STREQ(text, before);
}
