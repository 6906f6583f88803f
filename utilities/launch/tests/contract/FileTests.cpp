// Copying, attributes, and the C runtime's calls for files.
#include <direct.h>
#include <gtest/gtest.h>

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
    fs::permissions("files/locked", fs::perms::owner_all, none);
    fs::permissions("files/copy", fs::perms::owner_all, none);
    fs::remove_all("files");
  }
};

TEST_F(Files, CopyReplacesOrSaysWhyNot) {
  const struct {
    const char* source;
    const char* target;
    BOOL failIfExists;
    DWORD error;
  } rows[] = {
      {"files\\new", "files\\old", FALSE, 0},
      {"files/new", "files\\fresh", TRUE, 0},
      {"files\\missing", "files\\old", FALSE, ERROR_FILE_NOT_FOUND},
      {"missing\\new", "files\\old", FALSE, ERROR_PATH_NOT_FOUND},
      {"", "files\\old", FALSE, ERROR_PATH_NOT_FOUND},
      {"files\\folder", "files\\old", FALSE, ERROR_ACCESS_DENIED},
      {"files\\new", "missing\\old", FALSE, ERROR_PATH_NOT_FOUND},
      {"files\\new", "files\\folder", FALSE, ERROR_ACCESS_DENIED},
      {"files\\new", "files\\locked", TRUE, ERROR_FILE_EXISTS},
      {"files\\new", "files\\new", FALSE, ERROR_SHARING_VIOLATION},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.source) + " to " + row.target);
    SetUp();
    EXPECT_EQ(CopyFileA(row.source, row.target, row.failIfExists) != FALSE, row.error == 0);
    if (row.error != 0) {
      EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_EQ(ReadText("files/old"), row.error == 0 && row.target == std::string("files\\old")
                                         ? "new"
                                         : "the older and longer text");
    EXPECT_EQ(ReadText("files/new"), "new");
    EXPECT_EQ(ReadText("files/locked"), "locked");
  }
}

TEST_F(Files, CopyTakesAttributeAndTimeAlong) {
  fs::last_write_time("files/locked", fs::last_write_time("files/new") - std::chrono::hours(30));
  ASSERT_TRUE(CopyFileA("files\\locked", "files\\copy", FALSE));
  EXPECT_EQ(GetFileAttributesA("files\\copy") & FILE_ATTRIBUTE_READONLY,
            static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  EXPECT_EQ(fs::last_write_time("files/copy"), fs::last_write_time("files/locked"));
}

TEST_F(Files, ReadOnlyAttributeCanBeReadSetAndCleared) {
  const auto isReadOnly = [](const char* path) {
    return (GetFileAttributesA(path) & FILE_ATTRIBUTE_READONLY) != 0;
  };
  EXPECT_TRUE(isReadOnly("files\\locked"));
  const DWORD attributes = GetFileAttributesA("files/locked");
  EXPECT_TRUE(SetFileAttributesA("files\\locked",
                                 attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)));
  EXPECT_FALSE(isReadOnly("files\\locked"));
  EXPECT_TRUE(CopyFileA("files\\new", "files\\locked", FALSE));
  EXPECT_TRUE(SetFileAttributesA("files\\locked", FILE_ATTRIBUTE_READONLY));
  EXPECT_TRUE(isReadOnly("files\\locked"));
  EXPECT_TRUE(SetFileAttributesA("files\\locked", FILE_ATTRIBUTE_NORMAL));
  EXPECT_FALSE(isReadOnly("files\\locked"));
  EXPECT_EQ(GetFileAttributesA("files\\folder"), static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY));
  for (const auto& [path, error] : {std::pair("files\\none", ERROR_FILE_NOT_FOUND),
                                    std::pair("none\\x", ERROR_PATH_NOT_FOUND)}) {
    EXPECT_EQ(GetFileAttributesA(path), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(error));
    EXPECT_FALSE(SetFileAttributesA(path, FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(error));
  }
}

TEST_F(Files, OpenTakesEitherSeparatorAndNoDirectory) {
  const std::pair<const char*, bool> rows[] = {
      {"files\\old", true},     {"files/old", true}, {".\\files/folder\\..\\old", true},
      {"files\\folder", false}, {".", false},        {"files\\no", false},
      {"no\\old", false},       {"", false}};
  for (const auto& [path, isFile] : rows) {
    std::FILE* file = std::fopen(path, "rb");
    EXPECT_EQ(file != nullptr, isFile) << path;
    if (file != nullptr) {
      std::fclose(file);
    }
  }
}

TEST_F(Files, CurrentDirectoryIsReadAndChanged) {
  char before[1024];
  char text[1024];
  ASSERT_EQ(_getcwd(before, sizeof before), before);
  EXPECT_EQ(_chdir("files\\folder"), 0);
  ASSERT_NE(_getcwd(text, sizeof text), nullptr);
  EXPECT_EQ(std::string(text).size(), std::string(before).size() + 13);
  EXPECT_EQ(_getcwd(text, static_cast<int>(std::string(text).size())), nullptr);
  EXPECT_NE(_chdir("missing"), 0);
  EXPECT_EQ(_chdir("..\\.."), 0);
  ASSERT_NE(_getcwd(text, sizeof text), nullptr);
  EXPECT_STREQ(text, before);
}
