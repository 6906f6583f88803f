// Copies as this host makes them.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <windows.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace fs = std::filesystem;

namespace {

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

std::string Read(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t CountIn(const std::string& directory) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), {}));
}

class Copy : public testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all("copy");
    fs::create_directories("copy/folder");
    Write("copy/source", std::string(200000, 's'));
    Write("copy/target", "old");
  }
};

}  // namespace

TEST_F(Copy, ReaderSeesTheOldOrTheNewFileWhole) {
  Write("copy/other", std::string(150000, 'o'));
  ASSERT_TRUE(CopyFileA("copy/source", "copy/target", FALSE));
  std::atomic<bool> isDone{false};
  std::thread reader([&] {
    int reads = 0;
    while (!isDone || reads == 0) {
      const std::string text = Read("copy/target");
      const bool isWhole = text == std::string(200000, 's') || text == std::string(150000, 'o');
      EXPECT_TRUE(isWhole) << text.size();
      ++reads;
    }
  });
  for (int round = 0; round < 200; ++round) {
    EXPECT_TRUE(CopyFileA(round % 2 == 0 ? "copy/other" : "copy/source", "copy/target", FALSE));
  }
  isDone = true;
  reader.join();
  EXPECT_EQ(CountIn("copy"), 4u);
}

TEST_F(Copy, FailureLeavesTheOldFileAndNothingElse) {
  rlimit before = {};
  ::getrlimit(RLIMIT_FSIZE, &before);
  rlimit small = before;
  small.rlim_cur = 100000;
  ::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_FALSE(CopyFileA("copy/source", "copy/target", FALSE));
  EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
  ::setrlimit(RLIMIT_FSIZE, &before);
  ::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(Read("copy/target"), "old");
  EXPECT_EQ(CountIn("copy"), 3u);
}

TEST_F(Copy, FollowsLinksKeepsPermissionsAndRefusesWhatIsNoFile) {
  ::chmod("copy/source", 0754);
  fs::create_symlink("../target", "copy/folder/link");
  fs::create_symlink("nowhere", "copy/folder/dangling");
  ASSERT_EQ(::mkfifo("copy/pipe", 0600), 0);
  EXPECT_TRUE(CopyFileA("copy\\source", "copy\\folder\\link", FALSE));
  EXPECT_TRUE(fs::is_symlink("copy/folder/link"));
  EXPECT_EQ(Read("copy/target").size(), 200000u);
  struct stat status = {};
  ASSERT_EQ(::stat("copy/target", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0754u);
  ::chmod("copy/target", 0444);
  const struct {
    const char* source;
    const char* target;
    DWORD error;
  } rows[] = {{"copy/source", "copy/folder/dangling", ERROR_FILE_NOT_FOUND},
              {"copy/pipe", "copy/target", ERROR_ACCESS_DENIED},
              {"copy/source", "copy/pipe", ERROR_ACCESS_DENIED},
              {"copy/source", "/dev/null", ERROR_ACCESS_DENIED},
              {"copy/source", "copy/target", ERROR_ACCESS_DENIED},  // for the superuser too
              {"copy/source", "copy/source/x", ERROR_PATH_NOT_FOUND},
              {"copy/target", "copy/folder/link", ERROR_SHARING_VIOLATION}};
  for (const auto& row : rows) {
    EXPECT_FALSE(CopyFileA(row.source, row.target, FALSE)) << row.source << " to " << row.target;
    EXPECT_EQ(GetLastError(), row.error) << row.source << " to " << row.target;
  }
}
