#include "Support.h"
#include "java/JavaInvocation.h"
#include "java/WorkspaceSearch.h"
#include "platform/FileUtilities.h"

namespace fs = std::filesystem;

const char kJar[] = "TorvelUnit.jar";  // a name that no folder above the scratch directory holds

TEST(WorkspaceSearch, TakesTheFirstRootAndTheFirstEntry) {
  const ScratchDirectory scratch;
  const string top = GetCurrentDir();
  for (const char* file : {"ws/bin/TorvelUnit.jar", "ws/alt/TorvelUnit.jar",
                           "ws/alt/torvel-win64.dll", "ws/alt/swt/torvel-win64.dll",
                           "ws/in/b/bin/TorvelUnit.jar", "ws/in/b/bin/swt/torvel-win64.dll",
                           "ws/in/b/c/d/x", "ws/100%s d/x", "other/bin/TorvelUnit.jar"}) {
    WriteFile(file, "");
  }
  const Rows<string, string, Texts, const char*, const char*, const char*> rows = {
      {"ws", "", {"bin/", "alt/"}, "ws", "bin/", "bin/lib/"},
      {"ws", "", {"absent/", "alt\\", "bin/"}, "ws", "alt\\", "alt\\"},
      {"ws/100%s d", "", {"alt/"}, "ws", "alt/", "alt/"},
      {"ws/in/b/c/d", "", {"alt/", "bin/"}, "ws/in/b", "bin/", "bin/swt/"},
      {"ws/in/b/c", "", {"alt/"}, "ws", "alt/", "alt/"},
      {"ws/in", "../../other/", {"bin/"}, "other", "bin/", "bin/lib/"},
      {"ws", "absent/", {"bin/"}, "ws", "bin/", "bin/lib/"},
      {"ws", "in/", {"bin/"}, "ws", "bin/", "bin/lib/"},
  };
  for (const auto& [start, workspace, paths, root, jar, lib] : rows) {
    SCOPED_TRACE(start + " " + workspace);
    ChangeDir(top + "/" + start);
    const WorkspaceLocation location = SearchWorkspace(workspace, paths, kJar);
    EXPECT_EQ(location.m_Root, (fs::path(top) / root).make_preferred().string() + "/");
    EXPECT_EQ(location.m_JarDirectory, jar);
    EXPECT_EQ(location.m_LibDirectory, lib);
    EXPECT_EQ(fs::current_path(), fs::path(top) / start);
  }
}

TEST(WorkspaceSearch, PrintsItsRoadAndFailsAtItsEnd) {
  const ScratchDirectory scratch;
  const string top = GetCurrentDir();
  WriteFile("bin/TorvelUnit.jar", "");
  fs::create_directory("a%s");
  ChangeDir("a%s");
  const string start = GetCurrentDir();
  EXPECT_EQ(Printed([] {
              SearchWorkspace("", {"x%d/", "bin/"}, kJar);
            }),
            "Search for TorvelUnit.jar and torvel-win64.dll in\nx%d/\nbin/\nNot in " + start +
                "...\nFound jar in bin/\nFound lib in bin/lib/\nWorkspace at " + top + "/\n");
  EXPECT_EQ(Failure([] { SearchWorkspace("absent/", {"bin/"}, kJar); }),
            "Unable to locate Torvel within workspace");
  for (const Texts& paths : {Texts{}, Texts{"absent/", ""}}) {
    EXPECT_EQ(Failure([&] { SearchWorkspace("", paths, kJar); }),
              "Unable to locate Torvel's path from current working directory");
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
