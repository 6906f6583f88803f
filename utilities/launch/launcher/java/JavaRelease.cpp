#include "java/JavaRelease.h"

#include <algorithm>
#include <cstdlib>

#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace {

const char kRetiredOption[] = "-XX:+UseConcMarkSweepGC";
constexpr int kRetiredSince = 14;
constexpr int kDirectoriesLookedInto = 5;

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
  // In full, since a `java` may be reached through links. No file has no version, though an empty
  // path has a full form.
  std::string directory = file.empty() ? "" : FullPath(file);
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
  std::vector<std::string> known = options;
  const int version = JavaVersionOf(file);
  // The launcher's own comes after those of the user.
  const auto own = std::find(known.rbegin(), known.rend(), kRetiredOption);
  if (version >= kRetiredSince && own != known.rend()) {
    known.erase(std::next(own).base());
    DebugPrint("Left out %s, which Java %d does not know\n", kRetiredOption, version);
  }
  return known;
}
