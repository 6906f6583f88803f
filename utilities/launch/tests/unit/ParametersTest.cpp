#include <gmock/gmock.h>

#include "CommandLineParameters.h"
#include "platform/Diagnostics.h"

using testing::ElementsAre;
using Arguments = std::vector<const char*>;
using Texts = std::vector<std::string>;

namespace {

struct Parsed : CommandLineParameters {
  explicit Parsed(Arguments arguments) {
    arguments.insert(arguments.begin(), "Torvel");
    Parse(static_cast<int>(arguments.size()), arguments.data());
  }
  Texts Remaining() {
    Texts texts;
    for (size_t i = 0; i < GetCount(); ++i) texts.push_back(GetAt(i).ToText());
    return texts;
  }
};

}  // namespace

TEST(Parameters, LaunchOptionsAreActedUponAndTakenOut) {
  const Texts usual = {"bin/", "Build/Torvel/", "build/torvel/", "build/torvel/bin/"};
  const std::tuple<Arguments, Texts, Texts, const char*> rows[] = {
      {{nullptr, "Build", nullptr, "Game"}, {"Build", "Game"}, usual, ""},
      {{"--vok=x", "--vok", "--jar=a"}, {"--vok", "--jar=a"}, {"VokTools/bin/"}, ""},
      {{"--jar=tools;lib\\;x/"}, {}, {"tools/", "lib\\", "x/"}, ""},
      {{"--jar=a", "--jar=b"}, {"--jar=b"}, {"a/"}, ""},
      {{"--jar=;;a\\"}, {}, {"./", "./", "a\\"}, ""},
      {{"--workspace=C:\\ws"}, {"--workspace=C:\\ws"}, usual, "C:\\ws/"},
      {{"--workspace=w\\"}, {"--workspace=w\\"}, usual, "w\\"},
      {{"--jar=a", "--workspace=w"}, {"--workspace=w"}, {"a/"}, ""},
      {{"--workspace=w", "--vok"}, {"--workspace=w"}, {"VokTools/bin/"}, ""},
      {{"--workspace="}, {"--workspace="}, usual, ""},
      {{"--Vok", "--Jar=a", "--Debug"}, {"--Vok", "--Jar=a", "--Debug"}, usual, ""},
      {{"Build", "--debug=no", "--debug"}, {"Build", "--debug"}, usual, ""},
  };
  for (const auto& [arguments, remaining, paths, workspace] : rows) {
    Parsed parameters(arguments);
    EXPECT_EQ(parameters.Remaining(), remaining);
    EXPECT_EQ(parameters.GetJarSearchPaths(), paths) << testing::PrintToString(remaining);
    EXPECT_EQ(parameters.GetWorkspace(), workspace) << testing::PrintToString(remaining);
  }
  EXPECT_TRUE(IsDebugEnabled());
}

TEST(Parameters, LookupsActOnTheFirstMatch) {
  Parsed parameters({"Build", "a=1", "b", "a=2", "A=3"});
  EXPECT_EQ(parameters.Get("a").m_Value, "1");
  parameters.Set("a", {false, "c", ""});
  EXPECT_THAT(parameters.Remaining(), ElementsAre("Build", "c", "b", "a=2", "A=3"));
  parameters.Remove("a");
  parameters.Remove("absent");
  parameters.Add({true, "a", "4"});
  parameters.SetAt(0, {true, "Clean", ""});
  EXPECT_THAT(parameters.Remaining(), ElementsAre("Clean=", "c", "b", "A=3", "a=4"));
  EXPECT_TRUE(parameters.Exists("a"));
  EXPECT_FALSE(parameters.Exists("a=4"));
}

TEST(ParametersDeathTest, MisuseIsAnInternalErrorOrEndsTheProcess) {
  Parsed parameters({"Build"});
  const auto isInternalError = testing::ThrowsMessage<InternalError>(
      testing::StrEq("Internal error: Parameter build not found"));
  EXPECT_THAT([&] { parameters.Get("build"); }, isInternalError);
  EXPECT_THAT([&] { parameters.Set("build", {}); }, isInternalError);
  EXPECT_DEATH(parameters.Add({false, "Build", ""}),
               "Assertion failed: !Exists.param.m_Name. .CommandLineParameters");
  CommandLineParameters unread;
  const char kUnread[] = "Assertion failed: m_HasBeenInitialised .CommandLineParameters";
  EXPECT_DEATH(unread.Exists("a"), kUnread);
  EXPECT_DEATH(unread.Remove("a"), kUnread);
}
