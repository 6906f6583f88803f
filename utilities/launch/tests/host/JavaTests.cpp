// What the layer does for a Java of the host.
#include <gmock/gmock.h>
#include <jni.h>
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "JavaRuntime.h"

namespace fs = std::filesystem;
using testing::ElementsAreArray;
using Texts = std::vector<std::string>;

namespace {

void Write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

}  // namespace

TEST(Java, VersionIsReadFromTheReleaseFile) {
  const std::pair<const char*, int> rows[] = {{"JAVA_VERSION=\"17.0.15\"\n", 17},
                                              {"A=\"b\"\nJAVA_VERSION=\"1.8.0_392\"\n", 8},
                                              {"JAVA_VERSION=\"9\"", 9},
                                              {"JAVA_VERSION=\"21-ea\"", 21},
                                              {"THE_JAVA_VERSION=\"17\"\n", 0},
                                              {"JAVA_VERSION=\"x\"", 0},
                                              {"JAVA_VERSION=17", 0},
                                              {"", 0}};
  for (const auto& [text, version] : rows) {
    EXPECT_EQ(host::JavaVersionIn(text), version) << text;
  }
}

TEST(Java, OptionsAreAdaptedUpToTheClassName) {
  const Texts given = {"java",
                       "-Djava.class.path=a.jar;b c.jar;d",
                       "-Da=;",
                       "-XX:+UseConcMarkSweepGC",
                       "-Xrs",
                       "Main",
                       "-Djava.class.path=e;f",
                       "-XX:+UseConcMarkSweepGC"};
  for (const int version : {0, 8, 13, 14, 25}) {
    Texts arguments = given;
    Texts expected = given;
    expected[1] = "-Djava.class.path=a.jar:b c.jar:d";
    if (version >= 14) {
      expected.erase(expected.begin() + 3);
    }
    host::AdaptJavaArguments(arguments, version);
    EXPECT_THAT(arguments, ElementsAreArray(expected)) << version;
  }
}

TEST(Java, LibraryIsFoundByItsWindowsNameAndGetsAdaptedOptions) {
  const HMODULE library = LoadLibraryA("JVM.dll");
  ASSERT_NE(library, nullptr) << GetLastError();
  const auto find = [&](const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(library, name));
  };
  const auto create = reinterpret_cast<jint (*)(JavaVM**, void**, void*)>(find("JNI_CreateJavaVM"));
  const auto recorded = reinterpret_cast<const char* (*)()>(find("RecordedOptions"));
  ASSERT_TRUE(create != nullptr && recorded != nullptr);
  JavaVMOption options[] = {{const_cast<char*>("-Djava.class.path=a;b"), nullptr},
                            {const_cast<char*>("-XX:+UseConcMarkSweepGC"), nullptr},
                            {const_cast<char*>("exit"), &options}};
  JavaVMInitArgs arguments = {JNI_VERSION_1_4, 3, options, JNI_FALSE};
  EXPECT_EQ(create(nullptr, nullptr, &arguments), -2);
  EXPECT_STREQ(recorded(), "-Djava.class.path=a:b|exit+|");
  EXPECT_STREQ(options[0].optionString, "-Djava.class.path=a;b");
  EXPECT_EQ(arguments.nOptions, 3);
}

TEST(Java, RuntimeIsThatOfJavaHomeElseOfThePath) {
  fs::remove_all("java");
  const std::string root = fs::absolute("java");
  Write("java/new/lib/server/libjvm.so", "");
  Write("java/new/release", "JAVA_VERSION=\"21.0.2\"");
  Write("java/new/bin/java", "");
  fs::permissions("java/new/bin/java", fs::perms::owner_all);
  Write("java/old/jre/lib/amd64/server/libjvm.so", "");
  Write("java/old/release", "JAVA_VERSION=\"1.8.0_392\"");
  Write("java/plain/lib/server/libjvm.so", "");
  Write("java/empty/release", "JAVA_VERSION=\"17\"");
  fs::create_directories("java/links/java");
  fs::create_directories("java/more");
  fs::create_symlink(root + "/new/bin/java", "java/more/java");
  const std::string path = std::getenv("PATH");
  const struct {
    const char* home;
    std::string path, version, library;
  } rows[] = {{"/new", "", "21", "/new/lib/server/libjvm.so"},
              {"/old", "/new/bin", "1.8", "/old/jre/lib/amd64/server/libjvm.so"},
              {"/plain", "", "0", "/plain/lib/server/libjvm.so"},
              {"/empty", "/new/bin", "", ""},
              {nullptr, "/links:/none:" + root + "/more", "21", "/new/lib/server/libjvm.so"},
              {nullptr, "/none", "", ""}};
  for (const auto& row : rows) {
    row.home != nullptr ? ::setenv("JAVA_HOME", (root + row.home).c_str(), 1)
                        : ::unsetenv("JAVA_HOME");
    ::setenv("PATH", (root + row.path).c_str(), 1);
    const host::JavaRuntime java = host::FindJavaRuntime();
    EXPECT_EQ(java.version, row.version);
    EXPECT_EQ(java.library, row.library.empty() ? "" : root + row.library);
  }
  // With no registry file named, this is what the registry holds, and all of it.
  ::setenv("JAVA_HOME", (root + "/old").c_str(), 1);
  ::unsetenv("TORVEL_HOST_REGISTRY");
  const auto read = [](const char* key, const char* name) -> std::string {
    HKEY open = nullptr;
    BYTE data[1024] = "";
    DWORD size = sizeof data;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, key, 0, KEY_READ, &open) == 0) {
      RegQueryValueExA(open, name, nullptr, nullptr, data, &size);
      RegCloseKey(open);
    }
    return reinterpret_cast<char*>(data);
  };
  EXPECT_EQ(read("SOFTWARE\\JavaSoft\\Java Runtime Environment", "CurrentVersion"), "1.8");
  EXPECT_EQ(read("SOFTWARE\\JavaSoft\\Java Runtime Environment\\1.8", "RuntimeLib"),
            root + "/old/jre/lib/amd64/server/libjvm.so");
  EXPECT_EQ(read("SOFTWARE\\Torvel", "Install_Dir"), "");
  ::setenv("PATH", path.c_str(), 1);
}
