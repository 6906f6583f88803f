#include "java/JavaRelease.h"

#include <cstdlib>

#include <direct.h>
#include <windows.h>

#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace {

const char kRetiredOption[] = "-XX:+UseConcMarkSweepGC";
constexpr int kRetiredSince = 14;
constexpr int kDirectoriesLookedInto = 5;

// Where the file really lies, for a `java` that is reached through links.
std::string RealPath(const std::string& file) {
  char buffer[MAX_PATH];
  return _fullpath(buffer, file.c_str(), sizeof buffer) != nullptr ? buffer : file;
}

// "1.8.0_292" is 8, as versions were written up to that; "17.0.9" and "25-ea" begin with theirs.
int FeatureVersion(const std::string& version) {
  const int first = atoi(version.c_str());
  return first == 1 && version.compare(0, 2, "1.") == 0 ? atoi(version.c_str() + 2) : first;
}

// What the file's line JAVA_VERSION="..." says; 0 when there is none.
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

}  // namespace

int JavaVersionOf(const std::string& file) {
  std::string directory = RealPath(file);
  for (int i = 0; i < kDirectoriesLookedInto; ++i) {
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

std::vector<std::string> OptionsKnownTo(const std::string& file,
                                        const std::vector<std::string>& options) {
  const int version = JavaVersionOf(file);
  if (version < kRetiredSince) {
    return options;
  }
  std::vector<std::string> known;
  for (const std::string& option : options) {
    if (option != kRetiredOption) {
      known.push_back(option);
    } else {
      DebugPrint("Left out %s, which Java %d does not know\n", kRetiredOption, version);
    }
  }
  return known;
}
