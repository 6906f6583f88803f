#include "JavaRuntime.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>

#include "Paths.h"
#include "ProgramSearch.h"

namespace {

// The collector that this option asks for went with Java 14, and the option with it.
constexpr char kRetiredOption[] = "-XX:+UseConcMarkSweepGC";
constexpr int kRetiredSince = 14;

constexpr char kClassPath[] = "-Djava.class.path=";

bool BeginsWith(const std::string& text, const char* prefix) {
  return text.rfind(prefix, 0) == 0;
}

std::string JavaHome() {
  const char* home = std::getenv("JAVA_HOME");
  if (home != nullptr && *home != '\0') {
    return home;
  }
  const std::string program = host::FindProgramOnPath("java");
  return program.empty() ? "" : host::DirectoryOf(host::DirectoryOf(host::ResolvedPath(program)));
}

// The version in the text of a "release" file; 0 when it has none.
int JavaVersionIn(const std::string& releaseText) {
  constexpr char kName[] = "JAVA_VERSION=\"";
  std::size_t at = releaseText.find(kName);
  if (at == std::string::npos || (at > 0 && releaseText[at - 1] != '\n')) {
    return 0;
  }
  at += sizeof kName - 1;
  // Up to Java 8 the version began with "1.".
  if (releaseText.compare(at, 2, "1.") == 0) {
    at += 2;
  }
  return std::atoi(releaseText.c_str() + at);
}

}  // namespace

namespace host {

int JavaVersionOf(const std::string& hostPath) {
  constexpr int kLevels = 4;
  std::string directory = DirectoryOf(ResolvedPath(hostPath));
  for (int level = 0; level < kLevels; ++level) {
    directory = DirectoryOf(directory);
    const int version = JavaVersionIn(FileText(directory + "/release"));
    if (version != 0) {
      return version;
    }
  }
  return 0;
}

bool AdaptJavaOption(std::string& option, int javaVersion) {
  if (BeginsWith(option, kClassPath)) {
    std::replace(option.begin(), option.end(), ';', ':');
  }
  return option != kRetiredOption || javaVersion < kRetiredSince;
}

void AdaptJavaArguments(std::vector<std::string>& arguments, int javaVersion) {
  std::vector<std::string> adapted;
  bool isOption = true;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    isOption = isOption && (i == 0 || BeginsWith(arguments[i], "-"));
    if (i == 0 || !isOption || AdaptJavaOption(arguments[i], javaVersion)) {
      adapted.push_back(std::move(arguments[i]));
    }
  }
  arguments = std::move(adapted);
}

JavaRuntime FindJavaRuntime() {
  const std::string home = JavaHome();
  // Java 9 and later; then Java 8 as a JDK and as a JRE.
  for (const char* directory : {"/lib/server", "/jre/lib/amd64/server", "/lib/amd64/server",
                                "/jre/lib/aarch64/server", "/lib/aarch64/server"}) {
    const std::string library = home + directory + "/libjvm.so";
    struct stat status {};
    if (!home.empty() && ::stat(library.c_str(), &status) == 0) {
      const int version = JavaVersionOf(library);
      constexpr int kLastWithOne = 8;
      const bool hasOne = version > 0 && version <= kLastWithOne;
      return {(hasOne ? "1." : "") + std::to_string(version), library};
    }
  }
  return {};
}

}  // namespace host
