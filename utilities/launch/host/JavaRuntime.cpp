#include "JavaRuntime.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "Paths.h"

namespace host {

void AdaptJavaOption(std::string& option) {
  if (option.rfind("-Djava.class.path=", 0) == 0) {
    std::replace(option.begin(), option.end(), ';', ':');
    std::replace(option.begin(), option.end(), '\\', '/');
  }
}

std::string FindJavaLibrary() {
  const char* variable = std::getenv("JAVA_HOME");
  std::string home = variable != nullptr ? variable : "";
  const std::string program = home.empty() ? ResolvedPath(FindOnPath("java")) : "";
  if (!program.empty()) {
    home = DirectoryOf(DirectoryOf(program));
  }
  // Java 9 and later; then Java 8 as a JDK and as a JRE.
  for (const char* directory : {"/lib/server", "/jre/lib/amd64/server", "/lib/amd64/server",
                                "/jre/lib/aarch64/server", "/lib/aarch64/server"}) {
    std::string library = home + directory + "/libjvm.so";
    if (!home.empty() && ::access(library.c_str(), F_OK) == 0) {
      return library;
    }
  }
  return "";
}

}  // namespace host
