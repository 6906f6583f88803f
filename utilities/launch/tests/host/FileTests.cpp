// Copies as this host makes them.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "Support.h"

namespace {

const std::string kLong(200000, 's');

class Copy : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all("copy");
    Write("copy/source", kLong);
    Write("copy/target", "old");
  }
  static auto Count() { return std::distance(fs::directory_iterator("copy"), {}); }
};

}  // namespace

TEST_F(Copy, ReaderSeesTheOldOrTheNewFileWhole) {
  const std::string other(150000, 'o');
  Write("copy/other", other);
  ASSERT_TRUE(CopyFileA("copy/source", "copy/target", FALSE));
  std::atomic<int> rounds{0};
  std::thread reader([&] {
    do {
      const std::string text = Read("copy/target");
      EXPECT_TRUE(text == kLong || text == other) << text.size();
    } while (rounds < 200);
  });
  for (; rounds < 200; ++rounds) {
    EXPECT_TRUE(CopyFileA(rounds % 2 == 0 ? "copy/other" : "copy/source", "copy/target", FALSE));
  }
  reader.join();
  EXPECT_EQ(Count(), 3);
}

TEST_F(Copy, FailureLeavesTheOldFileAndNothingElse) {
  rlimit before = {};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small = {100000, before.rlim_max};
  ::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_FALSE(CopyFileA("copy/source", "copy/target", FALSE));
  EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
  ::setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(Read("copy/target"), "old");
  EXPECT_EQ(Count(), 2);
}

TEST_F(Copy, FollowsLinksKeepsPermissionsAndRefusesWhatIsNoFile) {
  ::chmod("copy/source", 0754);
  fs::create_symlink("target", "copy/link");
  fs::create_symlink("nowhere", "copy/dangling");
  ASSERT_EQ(::mkfifo("copy/pipe", 0600), 0);
  EXPECT_TRUE(CopyFileA("copy\\source", "copy\\link", FALSE));
  EXPECT_TRUE(fs::is_symlink("copy/link"));
  EXPECT_EQ(Read("copy/target"), kLong);
  EXPECT_EQ(fs::status("copy/target").permissions(), fs::perms(0754));
  ::chmod("copy/target", 0444);
  const struct {
    const char* source;
    const char* target;
    DWORD error;
  } rows[] = {{"copy/source", "copy/dangling", ERROR_FILE_NOT_FOUND},
              {"copy/pipe", "copy/source", ERROR_ACCESS_DENIED},
              {"copy/source", "copy/pipe", ERROR_ACCESS_DENIED},
              {"copy/source", "copy/target", ERROR_ACCESS_DENIED},  // for the superuser too
              {"copy/source", "copy/source/x", ERROR_PATH_NOT_FOUND},
              {"copy/target", "copy/link", ERROR_SHARING_VIOLATION}};
  for (const auto& row : rows) {
    EXPECT_FALSE(CopyFileA(row.source, row.target, FALSE)) << row.source << " to " << row.target;
    EXPECT_EQ(GetLastError(), row.error) << row.source << " to " << row.target;
  }
}
