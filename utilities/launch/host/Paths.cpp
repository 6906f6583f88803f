#include "Paths.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "Owner.h"
#include "direct.h"

namespace host {

std::string HostPath(const char* path) {
  std::string result(path);
  std::replace(result.begin(), result.end(), '\\', '/');
  return result;
}

std::string DirectoryOf(const std::string& hostPath) {
  const std::size_t separator = hostPath.rfind('/');
  if (separator == std::string::npos) {
    return ".";
  }
  return separator == 0 ? "/" : hostPath.substr(0, separator);
}

std::string FileNameOf(const std::string& hostPath) {
  return hostPath.substr(hostPath.rfind('/') + 1);
}

std::string ResolvedPath(const std::string& hostPath) {
  char resolved[PATH_MAX];
  return ::realpath(hostPath.c_str(), resolved) != nullptr ? resolved : std::string();
}

std::string FileText(const std::string& hostPath) {
  std::string text;
  const Descriptor file(::open(hostPath.c_str(), O_RDONLY | O_CLOEXEC));
  char block[16384];
  ssize_t length = 0;
  while (file && (length = ::read(file.Get(), block, sizeof block)) > 0) {
    text.append(block, static_cast<std::size_t>(length));
  }
  return text;
}

}  // namespace host

char* _getcwd(char* buffer, int size) {
  return ::getcwd(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
}

int _chdir(const char* path) {
  return ::chdir(host::HostPath(path).c_str());
}

extern "C" std::FILE* __real_fopen(const char* path, const char* mode);
extern "C" std::FILE* __wrap_fopen(const char* path, const char* mode);

// Every fopen of the program comes here (see CMakeLists.txt), for two habits of Windows: either
// separator, and a directory cannot be opened, not even for reading.
std::FILE* __wrap_fopen(const char* path, const char* mode) {
  std::FILE* file = __real_fopen(host::HostPath(path).c_str(), mode);
  struct stat status {};
  if (file != nullptr && ::fstat(::fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) {
    std::fclose(file);
    errno = EACCES;
    return nullptr;
  }
  return file;
}
