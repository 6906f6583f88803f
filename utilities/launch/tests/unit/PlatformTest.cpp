#include <atomic>
#include <chrono>

#include "Native.h"
#include "Support.h"
#include "platform/Exec.h"
#include "platform/FileUtilities.h"
#include "platform/SwitcherListener.h"
#include "platform/SystemError.h"
#include "platform/Thread.h"

namespace fs = std::filesystem;

TEST(Texts, AreFoldedAndCompared) {
  const Rows<const char*, const char*, int> rows = {
      {"Src/App", "src\\app", 0}, {"src", "src/", 1}, {"src/", "src", 1},   {"a", "b", -1},
      {"a/b", "a0b", -1},         {"a", "\xE9", -1},  {"\xC9", "\xE9", -1},
  };
  for (const auto& [a, b, result] : rows) {
    EXPECT_EQ(ComparePaths(a, b), result) << a << " against " << b;
  }
  EXPECT_EQ(ToLower("NetInfo-\xC9@["), "netinfo-\xC9@[");
  EXPECT_EQ(ReplaceChar("a.b..c", '.', '/'), "a/b//c");
}

TEST(Files, AreFoundByEitherSeparator) {
  const ScratchDirectory scratch;
  WriteFile("a/b/file", "");
  const Rows<const char*, bool> rows = {
      {"a\\b/file", true}, {"a/../a/b\\file", true}, {"a/b", false}, {"a/b/absent", false},
      {"", false},
  };
  for (const auto& [path, exists] : rows) {
    EXPECT_EQ(FileExists(path), exists) << path;
  }
  const fs::path start = GetCurrentDir();
  EXPECT_EQ(start, fs::current_path());
  const Rows<const char*, const char*> moves = {
      {"a\\b/", "a/b"},
      {"absent", "a/b"},
      {"..", "a"},
  };
  for (const auto& [path, directory] : moves) {
    ChangeDir(path);
    EXPECT_EQ(GetCurrentDir(), (start / directory).make_preferred().string());
  }
  SetVariable("TORVEL_UNIT_TEST", "a=b");
  EXPECT_EQ(GetEnv("TORVEL_UNIT_TEST") + GetEnv("TORVEL_UNIT_TEST_UNSET"), "a=b");
}

TEST(InstallFile, NamesItsTargetAndOverwritesIt) {
  const ScratchDirectory scratch;
  const Rows<const char*, const char*, bool, string> rows = {
      {"bin/Torvel.jar", "A", true, "A/Torvel.jar"},
      {"bin/x.jar", "A/", true, "A/x.jar"},
      {"plain", "A", true, "A/plain"},
      {"bin/a", "A/b.exe", false, "A/b.exe"},
  };
  for (const auto& [source, destination, isDirectory, target] : rows) {
    WriteFile(source, source);
    WriteFile(target, "longer, and not to be written to");
    ASSERT_TRUE(SetFileAttributesA(target.c_str(), FILE_ATTRIBUTE_READONLY));
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(Printed([&, &from = source, &to = destination, &flag = isDirectory] {
                  InstallFile(from, to, flag);
                }),
                string("Copying ") + source + " to " + target + "...\n");
      EXPECT_EQ(ReadFile(target), source);
      EXPECT_EQ(GetFileAttributesA(target.c_str()) & FILE_ATTRIBUTE_READONLY, 0U);
      fs::remove(target);
    }
  }
}

TEST(CopyFileWithRetry, FailsWithCodePathsAndTheSystemsWords) {
  const ScratchDirectory scratch;
  WriteFile("dir%s/source", "");
  const Rows<const char*, const char*, DWORD, const char*> rows = {
      {"dir%s/absent", "b", ERROR_FILE_NOT_FOUND, "dir%s\\absent to b"},
      {"dir%s/source", "absent/b", ERROR_PATH_NOT_FOUND, "dir%s\\source to absent\\b"},
  };
  for (const auto& [source, destination, code, paths] : rows) {
    string expected =
        "CopyFile returned error code " + std::to_string(code) + " when copying " + paths;
    ASSERT_TRUE(AppendSystemText(expected, code, 4095));
    EXPECT_EQ(Failure([&from = source, &to = destination] { CopyFileWithRetry(from, to, 5); }),
              expected);
  }
  for (const size_t length : {4040U, 9000U}) {
    EXPECT_EQ(Failure([&] { CopyFileWithRetry(string(length, 'x'), "b", 5); }).size(), 4095U);
  }
}

TEST(SystemText, IsAppendedAsFarAsItFits) {
  string whole = "x";
  ASSERT_TRUE(AppendSystemText(whole, ERROR_FILE_NOT_FOUND, 1000));
  EXPECT_THAT(whole, testing::AllOf(testing::StartsWith("x: "), testing::EndsWith(".\r\n")));
  for (size_t limit = 1; limit <= whole.size(); ++limit) {
    string message = "x";
    EXPECT_TRUE(AppendSystemText(message, ERROR_FILE_NOT_FOUND, limit));
    EXPECT_EQ(message, whole.substr(0, limit));
  }
  EXPECT_FALSE(AppendSystemText(whole, 0x2ABCDEF0, 1000));
}

TEST(Exec, QuotesWhatHoldsABlank) {
  const Rows<Texts, const char*> rows = {
      {{"java"}, "java"},
      {{"my java", "java"}, "\"my java\" java"},
      {{"java", "-Xmx1024M", "my class"}, "java -Xmx1024M \"my class\""},
      {{"java", "a\tb", "", "c"}, "java a\tb  c"},
      {{"java", "a\"b", "c \"d", "e\\", "f g\\"}, "java a\"b \"c \"d\" e\\ \"f g\\\""},
  };
  for (const auto& [arguments, commandLine] : rows) {
    EXPECT_EQ(BuildCommandLine(arguments), commandLine);
  }
}

TEST(Exec, RunsAChildOrReportsThatItCannot) {
  const ScratchDirectory scratch;
  const string program = g_program.string();
  const string id = std::to_string(GetCurrentProcessId());
  EXPECT_EQ(Printed([&] {
              EXPECT_EQ(Exec({program, "child", id, "3"}), 3);
            }),
            "Exec: " + BuildCommandLine({program, "child", id, "3"}) + "\nFound " + program +
                " @ " + program + "\n");
  EXPECT_THAT(Printed([] {
                EXPECT_EQ(Exec({"torvel absent", "x"}), -1);
              }),
              testing::StartsWith(
                  "Exec: \"torvel absent\" x\n"
                  "Couldn't find torvel absent on the path, assuming in CWD\n"
                  "Error launching 'torvel absent': CreateProcess returned error code 2: "));
  EXPECT_EQ(FindParentProcessId(0x7FFFFFF0), 0U);
  for (const size_t length : {259U, 260U, 100000U}) {
    Printed([&] { EXPECT_EQ(Exec({string(length, 'x')}), -1); });
  }
}

TEST(Thread, RunsItsBodyAndEnds) {
  struct Sleeper : Thread {
    std::atomic<bool> m_Done{false};
    void Run() override {
      SleepMilliseconds(60);
      m_Done = true;
    }
  } sleeper;
  const auto start = std::chrono::steady_clock::now();
  const HANDLE handle = sleeper.Start();
  EXPECT_FALSE(sleeper.m_Done);
  EXPECT_EQ(WaitForSingleObject(handle, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(sleeper.m_Done);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}
