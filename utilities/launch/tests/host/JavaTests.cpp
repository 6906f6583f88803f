// What the layer does for a Java of the host.
#include <gmock/gmock.h>
#include <jni.h>

#include "JavaRuntime.h"
#include "Support.h"

TEST(Java, VersionIsReadFromTheReleaseFile) {
  const std::pair<const char*, int> rows[] = {
      {"JAVA_VERSION=\"17.0.15\"\n", 17}, {"A=\"b\"\nJAVA_VERSION=\"1.8.0_392\"\n", 8},
      {"JAVA_VERSION=\"21-ea\"", 21},     {"THE_JAVA_VERSION=\"17\"\n", 0},
      {"JAVA_VERSION=\"x\"", 0},          {"JAVA_VERSION=17", 0}};
  for (const auto& [text, version] : rows) {
    EXPECT_EQ(host::JavaVersionIn(text), version) << text;
  }
}

TEST(Java, OptionsAreAdaptedUpToTheClassName) {
  const std::string retired = "-XX:+UseConcMarkSweepGC";
  for (const int version : {0, 13, 14, 25}) {
    std::vector<std::string> arguments = {"java", "-Djava.class.path=a;b c;d", "-Da=;", retired,
                                          "Main", "-Djava.class.path=e;f",     retired};
    std::vector<std::string> expected = arguments;
    expected[1] = "-Djava.class.path=a:b c:d";
    if (version >= 14) {
      expected.erase(expected.begin() + 3);
    }
    host::AdaptJavaArguments(arguments, version);
    EXPECT_THAT(arguments, testing::ElementsAreArray(expected)) << version;
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
}

TEST(Java, RuntimeOfferedIsThatOfJavaHomeElseOfThePath) {
  fs::remove_all("java");
  const std::string root = fs::absolute("java");
  Write("java/new/lib/server/libjvm.so", "");
  Write("java/new/release", "JAVA_VERSION=\"21.0.2\"");
  Write("java/new/bin/java", "", fs::perms::owner_all);
  Write("java/old/jre/lib/amd64/server/libjvm.so", "");
  Write("java/old/release", "JAVA_VERSION=\"1.8.0_392\"");
  Write("java/plain/lib/server/libjvm.so", "");
  fs::create_directories("java/links/java");
  fs::create_symlink(root + "/new/bin/java", "java/links/java/java");
  const std::string path = Environment("PATH");
  const struct {
    std::string home, path, version, library;
  } rows[] = {{root + "/new", "", "21", "/new/lib/server/libjvm.so"},
              {root + "/plain", "", "0", "/plain/lib/server/libjvm.so"},
              {root + "/links", "/new/bin", "", ""},
              {"", "/links:/none:" + root + "/links/java", "21", "/new/lib/server/libjvm.so"},
              {"", "/none", "", ""},
              {root + "/old", "", "1.8", "/old/jre/lib/amd64/server/libjvm.so"}};
  for (const auto& row : rows) {
    ::setenv("JAVA_HOME", row.home.c_str(), 1);
    ::setenv("PATH", (root + row.path).c_str(), 1);
    const host::JavaRuntime java = host::FindJavaRuntime();
    EXPECT_EQ(java.version, row.version);
    EXPECT_EQ(java.library, row.library.empty() ? "" : root + row.library);
  }
  // With no registry file named, the last of these is what the registry holds, and all of it.
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
