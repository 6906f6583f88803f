#include "CommandLineParameters.h"
#include "Native.h"
#include "Support.h"

using testing::ElementsAre;
using Arguments = std::vector<const char*>;

namespace {

const Texts kDefaultPaths = {"bin/", "Build/Torvel/", "build/torvel/", "build/torvel/bin/"};

struct Parsed : CommandLineParameters {
  explicit Parsed(Arguments arguments) {
    arguments.insert(arguments.begin(), "Torvel");
    Parse(static_cast<int>(arguments.size()), arguments.data());
  }
  Texts Remaining() {
    Texts texts;
    for (size_t i = 0; i < GetCount(); ++i) {
      texts.push_back(GetAt(i).ToText());
    }
    return texts;
  }
};

}  // namespace

TEST(Parameters, ArgumentIsCutAtItsFirstEquals) {
  const Rows<const char*, bool, const char*> rows = {
      {"Build", false, "Build|"}, {"a=b=c", true, "a|b=c"}, {"=x", true, "|x"},
      {"a=", true, "a|"},         {"a==", true, "a|="},     {"", false, "|"},
      {"=", true, "|"},           {"-x=X", true, "-x|X"},
  };
  for (const auto& [argument, hasValue, parts] : rows) {
    Parsed parameters({argument});
    ASSERT_EQ(parameters.GetCount(), 1U);
    const Parameter& only = parameters.GetAt(0);
    EXPECT_EQ(only.m_HasValue, hasValue) << argument;
    EXPECT_EQ(only.m_Name + "|" + only.m_Value, parts);
    EXPECT_EQ(only.ToText(), argument);
  }
}

TEST(Parameters, LaunchOptionsAreActedUponAndTakenOut) {
  const Rows<Arguments, Texts, Texts, const char*> rows = {
      {{}, {}, kDefaultPaths, ""},
      {{nullptr, "Build", nullptr, "Game"}, {"Build", "Game"}, kDefaultPaths, ""},
      {{"--vok=x", "--vok", "--jar=a"}, {"--vok", "--jar=a"}, {"VokTools/bin/"}, ""},
      {{"--jar=tools;lib\\;x/"}, {}, {"tools/", "lib\\", "x/"}, ""},
      {{"--jar=a", "--jar=b"}, {"--jar=b"}, {"a/"}, ""},
      {{"--jar=;;a\\"}, {}, {"./", "./", "a\\"}, ""},
      {{"--workspace=C:\\ws"}, {"--workspace=C:\\ws"}, kDefaultPaths, "C:\\ws/"},
      {{"--workspace=w\\"}, {"--workspace=w\\"}, kDefaultPaths, "w\\"},
      {{"--workspace="}, {"--workspace="}, kDefaultPaths, ""},
      {{"--jar=a", "--workspace=w"}, {"--workspace=w"}, {"a/"}, ""},
      {{"--workspace=w", "--vok"}, {"--workspace=w"}, {"VokTools/bin/"}, ""},
      {{"--Vok", "--Jar=a", "--Debug"}, {"--Vok", "--Jar=a", "--Debug"}, kDefaultPaths, ""},
      {{"Build", "--debug=no", "--debug"}, {"Build", "--debug"}, kDefaultPaths, ""},
  };
  for (const auto& [arguments, remaining, paths, workspace] : rows) {
    Parsed parameters(arguments);
    EXPECT_EQ(parameters.Remaining(), remaining);
    EXPECT_EQ(parameters.GetJarSearchPaths(), paths) << testing::PrintToString(remaining);
    EXPECT_EQ(parameters.GetWorkspace(), workspace) << testing::PrintToString(remaining);
  }
  EXPECT_TRUE(IsDebugEnabled());
}

TEST(Parameters, JvmOptionsAreKeptApartAsTyped) {
  Parsed parameters({"-Xmx1g", "Build", "-XX:MaxPermSize=256m", "-xmx1g", "-X", "-Xmx1g", "-=X"});
  Texts options = {"before"};
  parameters.GetJvmOptions(options);
  EXPECT_THAT(options, ElementsAre("before", "-Xmx1g", "-XX:MaxPermSize=256m", "-X", "-Xmx1g"));
  EXPECT_THAT(parameters.Remaining(), ElementsAre("Build", "-xmx1g", "-=X"));
  EXPECT_FALSE(parameters.Exists("-Xmx1g"));
}

TEST(Parameters, AssistantIsOnUnlessSwitchedOff) {
  const Rows<const char*, const char*, bool> rows = {
      {"", nullptr, true},
      {"0", nullptr, false},
      {"00", nullptr, true},
      {"", "--assistant=false", false},
      {"", "--assistant=False", true},
      {"0", "--assistant", true},
  };
  for (const auto& [variable, option, use] : rows) {
    SetVariable("TORVEL_ASSISTANT", variable);
    Parsed parameters({option});
    EXPECT_EQ(parameters.UseAssistant(), use) << variable << (option == nullptr ? "" : option);
    EXPECT_EQ(parameters.GetCount(), 0U);
  }
  SetVariable("TORVEL_ASSISTANT", "");
}

TEST(Parameters, ResolvePathPrefixesRelativeValuesOnly) {
  const Rows<const char*, bool, Texts> rows = {
      {"--log=..\\out", false, {"--log=base/..\\out"}},
      {"--log=abc", true, {"--log=base/abc"}},
      {"--log=..", true, {"--log=.."}},
      {"--log=\\ab", true, {"--log=\\ab"}},
      {"--log=C:\\logs", true, {"--log=C:\\logs"}},
      {"--Log=abc", false, {"--Log=abc"}},
      {"--Log=abc", true, {"--Log=abc", "--log=base"}},
  };
  for (const auto& [argument, addIfMissing, remaining] : rows) {
    Parsed parameters({argument});
    parameters.ResolvePath("--log", "base", addIfMissing);
    EXPECT_EQ(parameters.Remaining(), remaining);
  }
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

TEST(Parameters, LookupOfAnAbsentNameIsAnInternalError) {
  Parsed parameters({"Build"});
  const auto isInternalError = testing::ThrowsMessage<InternalError>(
      testing::StrEq("Internal error: Parameter build not found"));
  EXPECT_THAT([&] { parameters.Get("build"); }, isInternalError);
  EXPECT_THAT([&] { parameters.Set("build", {}); }, isInternalError);
}

TEST(ParametersDeathTest, MisuseEndsTheProcess) {
  CommandLineParameters unread;
  const char kUnread[] = "Assertion failed: m_HasBeenInitialised .CommandLineParameters";
  EXPECT_DEATH(unread.Exists("a"), kUnread);
  EXPECT_DEATH(unread.Remove("a"), kUnread);
  EXPECT_DEATH(Parsed({"Build"}).Add({false, "Build", ""}),
               "Assertion failed: !Exists.param.m_Name. .CommandLineParameters");
}

TEST(Split, CutsAtEverySeparator) {
  EXPECT_THAT(Split("", ';'), ElementsAre(""));
  EXPECT_THAT(Split("ab", ';'), ElementsAre("ab"));
  EXPECT_THAT(Split("a;;b;", ';'), ElementsAre("a", "", "b", ""));
}
