#include <gmock/gmock.h>

#include "CommandLineParameters.h"
#include "WorkspaceSearch.h"

TEST(Paths, StartIsWhatLiesBelowTheRoot) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"C:\\work/", "c:\\WORK\\src/", "src/"},
      {"C:\\work/", "C:\\work\\\\src/", "src/"},
      {"C:\\work/", "C:\\work//src/", "/src/"},
      {"C:\\work/", "C:\\workshop/src/", ""},
      // At the top of a drive, or of Linux's tree, the separator is there already.
      {"C:\\/", "C:\\src\\game/", "src\\game/"},
      {"//", "/src/", "src/"}};
  for (const auto& [root, start, below] : rows) {
    EXPECT_EQ(StartPathBelow(root, start), below) << start;
  }
}

TEST(ParametersDeathTest, MisuseEndsTheProgramOrThrows) {
  CommandLineParameters parameters;
  const char* arguments[] = {"Torvel", "Build", nullptr};
  parameters.Parse(3, arguments);
  EXPECT_DEATH(parameters.Add({false, "Build", ""}), "");
  EXPECT_THAT([&] { parameters.Get("build"); },
              testing::ThrowsMessage<InternalError>("Internal error: Parameter build not found"));
}
