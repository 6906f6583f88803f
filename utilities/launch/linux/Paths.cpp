#include "Paths.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Handles.h"
#include "LastError.h"
#include "direct.h"

namespace {

bool IsProgram(const std::string& path) {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

}  // namespace

namespace linux {

std::string LinuxPath(const char* path) {
  std::string result(path);
  std::replace(result.begin(), result.end(), '\\', '/');
  return result;
}

std::string DirectoryOf(const std::string& linuxPath) {
  const std::size_t separator = linuxPath.rfind('/');
  const std::string above = linuxPath.substr(0, std::max<std::size_t>(separator, 1));
  return separator == std::string::npos ? "." : above;
}

std::string ResolvedPath(const std::string& linuxPath) {
  char resolved[PATH_MAX];
  return ::realpath(linuxPath.c_str(), resolved) != nullptr ? resolved : std::string();
}

int OpenRegularFile(const std::string& linuxPath) {
  struct stat status{};
  if (::stat(linuxPath.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    errno = EACCES;
    return -1;
  }
  return Descriptor(::open(linuxPath.c_str(), O_RDONLY | O_CLOEXEC)).Release();
}

std::string FindProgram(std::vector<std::string> directories, const std::string& name,
                        const std::string& extension) {
  const char* path = std::getenv("PATH");
  const std::string list = path != nullptr ? path : "/bin:/usr/bin";
  for (std::size_t begin = 0, end = 0; begin < list.size(); begin = end + 1) {
    end = std::min(list.find(':', begin), list.size());
    if (end > begin) {
      const std::string root = list[begin] == '/' ? "" : ResolvedPath(".") + "/";
      directories.push_back(root + list.substr(begin, end - begin));
    }
  }
  for (const std::string& directory : directories) {
    for (const std::string& found : {directory + "/" + name + extension, directory + "/" + name}) {
      if (IsProgram(found)) {
        return found;
      }
    }
  }
  return "";
}

}  // namespace linux

// Differs from Windows:
// - Searches the launcher's directory, the current directory and PATH (the system's default if
//   unset). No system directories.
// - Also finds the name without the extension. Finds only executable regular files.
DWORD SearchPathA(std::nullptr_t, LPCSTR fileName, LPCSTR extension, DWORD size, LPSTR buffer,
                  std::nullptr_t) {
  const std::string found = linux::FindProgram(
      {linux::DirectoryOf(linux::ResolvedPath("/proc/self/exe")), linux::ResolvedPath(".")},
      linux::LinuxPath(fileName), extension);
  if (found.empty()) {
    return linux::Fail(ERROR_FILE_NOT_FOUND, DWORD{0});
  }
  std::snprintf(buffer, size, "%s", found.c_str());
  return static_cast<DWORD>(found.size() < size ? found.size() : found.size() + 1);
}

// Differs from Windows:
// - Fails if the current directory was deleted.
char* _getcwd(char* buffer, int size) {
  return ::getcwd(buffer, static_cast<std::size_t>(size));
}

int _chdir(const char* path) {
  return ::chdir(linux::LinuxPath(path).c_str());
}

// Differs from Windows:
// - Symbolic links are resolved, and a missing file is a failure.
char* _fullpath(char* buffer, const char* path, std::size_t size) {
  const std::string resolved = linux::ResolvedPath(linux::LinuxPath(path));
  if (resolved.empty() || resolved.size() >= size) {
    return nullptr;
  }
  buffer[resolved.copy(buffer, size)] = '\0';
  return buffer;
}

extern "C" std::FILE* __real_fopen(const char* path, const char* mode);
extern "C" std::FILE* __wrap_fopen(const char* path, const char* mode);

// All fopen calls of the program come here (see CMakeLists.txt), so that either separator is
// accepted, as on Windows.
//
// Differs from Windows:
// - Reads only regular files.
std::FILE* __wrap_fopen(const char* path, const char* mode) {
  if (std::strcmp(mode, "rb") != 0) {
    return __real_fopen(linux::LinuxPath(path).c_str(), mode);
  }
  linux::Descriptor descriptor(linux::OpenRegularFile(linux::LinuxPath(path)));
  std::FILE* file = descriptor ? ::fdopen(descriptor.Get(), mode) : nullptr;
  if (file != nullptr) {
    descriptor.Release();
  }
  return file;
}
