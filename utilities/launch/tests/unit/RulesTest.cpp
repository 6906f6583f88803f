#include "Support.h"
#include "java/JavaInvocation.h"
#include "java/WorkspaceSearch.h"
#include "platform/Exec.h"
#include "platform/FileUtilities.h"
#include "platform/SystemError.h"

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

TEST(StartPath, IsWhatLiesBelowTheRoot) {
  const Rows<const char*, const char*> rows = {
      {"C:\\work\\src\\game/", "src\\game/"},
      {"c:\\WORK/src/", "src/"},
      {"C:\\work\\\\src/", "src/"},
      {"C:\\work//src/", "/src/"},
      {"C:\\work/", ""},
      {"C:\\workshop/src/", ""},
      {"C:\\other\\src/", ""},
      {"C:\\", ""},
  };
  for (const auto& [start, below] : rows) {
    EXPECT_EQ(StartPathBelow("C:\\work/", start), below) << start;
  }
}

TEST(EffectiveOptions, HoldTheLastHeapOptionAtItsPlace) {
  const Rows<Texts, Texts> rows = {
      {{}, {}},
      {{"-Xmx1024M", "-Xrs", "-Xmx2048M", "-Da"}, {"-Xrs", "-Xmx2048M", "-Da"}},
      {{"-Xmx1", "-Xmx2", "-Xa", "-Xmx3", "-Xmx"}, {"-Xa", "-Xmx"}},
      {{"-Xmx1", "-XMX2", "-Xmn3", "-Xm", "-Xm"}, {"-Xmx1", "-XMX2", "-Xmn3", "-Xm", "-Xm"}},
  };
  for (auto [given, effective] : rows) {
    effective.insert(effective.end(), {"-XX:+UseConcMarkSweepGC", "-XX:-UseGCOverheadLimit"});
    EXPECT_EQ(EffectiveOptions(given), effective);
  }
}
