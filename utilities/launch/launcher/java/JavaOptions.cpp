#include "java/JavaOptions.h"

#include <algorithm>
#include <cstdlib>

#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace {

const char kRetiredOption[] = "-XX:+UseConcMarkSweepGC";
constexpr int kRetiredSince = 14;
constexpr int kDirectoriesSearched = 5;

// 8 for "1.8.0_292" (the scheme up to Java 8), 17 for "17.0.9", 25 for "25-ea".
int FeatureVersion(const std::string& version) {
  const int first = atoi(version.c_str());
  return first == 1 && version.compare(0, 2, "1.") == 0 ? atoi(version.c_str() + 2) : first;
}

// From the line JAVA_VERSION="..."; 0 if there is none.
int VersionIn(const std::string& releaseFile) {
  const std::string name = "JAVA_VERSION=";
  for (const std::string& line : Split(ReadFileText(releaseFile), '\n')) {
    if (line.compare(0, name.size(), name) == 0) {
      const size_t quotes = line.compare(name.size(), 1, "\"") == 0 ? 1 : 0;
      return FeatureVersion(line.substr(name.size() + quotes));
    }
  }
  return 0;
}

bool IsMaxHeapOption(const std::string& option) {
  return option.compare(0, 4, "-Xmx") == 0;
}

}  // namespace

int JavaVersionOf(const std::string& file) {
  // The full path: `java` may be a symbolic link. An empty path would become the current directory.
  std::string directory = file.empty() ? "" : FullPath(file);
  for (int i = 0; i < kDirectoriesSearched; ++i) {
    directory = DirectoryOf(directory);
    if (directory.empty()) {
      return 0;
    }
    if (const int version = VersionIn(directory + "/release")) {
      return version;
    }
  }
  return 0;
}

std::vector<std::string> EffectiveOptions(const std::vector<std::string>& jvmOptions,
                                          int javaVersion) {
  std::vector<std::string> effective;
  for (const std::string& option : jvmOptions) {
    if (IsMaxHeapOption(option)) {
      const auto earlier = std::find_if(effective.begin(), effective.end(), IsMaxHeapOption);
      if (earlier != effective.end()) {
        effective.erase(earlier);
      }
    }
    effective.push_back(option);
  }
  if (javaVersion < kRetiredSince) {
    effective.push_back(kRetiredOption);
  } else {
    DebugPrint("Left out %s, which Java %d does not know\n", kRetiredOption, javaVersion);
  }
  effective.push_back("-XX:-UseGCOverheadLimit");
  return effective;
}
