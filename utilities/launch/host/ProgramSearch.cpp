#include "ProgramSearch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "LastError.h"
#include "Paths.h"

namespace {

bool IsProgram(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

std::string CurrentDirectory() {
  return host::ResolvedPath(".");
}

void AppendPathDirectories(std::vector<std::string>& directories) {
  const char* path = std::getenv("PATH");
  const std::string list = path != nullptr ? path : "";
  for (std::size_t begin = 0; begin < list.size();) {
    const std::size_t end = std::min(list.find(':', begin), list.size());
    if (end > begin) {
      const std::string directory = list.substr(begin, end - begin);
      directories.push_back(directory[0] == '/' ? directory : CurrentDirectory() + "/" + directory);
    }
    begin = end + 1;
  }
}

std::string FindIn(const std::vector<std::string>& directories, const std::string& name,
                   const std::string& extension) {
  for (const std::string& directory : directories) {
    std::string path = directory + (directory.back() == '/' ? "" : "/") + name;
    if (!extension.empty() && IsProgram(path + extension)) {
      return path + extension;
    }
    if (IsProgram(path)) {
      return path;
    }
  }
  return "";
}

}  // namespace

namespace host {

std::string FindProgram(const std::string& hostName, const std::string& extension) {
  const bool hasExtension = FileNameOf(hostName).find('.') != std::string::npos;
  const std::string appended = hasExtension ? "" : extension;
  if (hostName[0] == '/') {
    return FindIn({"/"}, hostName.substr(1), appended);
  }
  std::vector<std::string> directories{DirectoryOf(ResolvedPath("/proc/self/exe"))};
  const std::string current = CurrentDirectory();
  if (!current.empty()) {
    directories.push_back(current);
  }
  AppendPathDirectories(directories);
  return FindIn(directories, hostName, appended);
}

std::string FindProgramOnPath(const std::string& hostName) {
  std::vector<std::string> directories;
  AppendPathDirectories(directories);
  return FindIn(directories, hostName, "");
}

}  // namespace host

// Differs from Windows:
// - Only the default search, of programs (a path of directories is refused with 87): the
//   launcher's own directory, the current directory, PATH. No system directories.
// - The name without the extension is found too; what cannot be executed is not.
DWORD SearchPathA(LPCSTR path, LPCSTR fileName, LPCSTR extension, DWORD size, LPSTR buffer,
                  LPSTR* filePart) {
  if (path != nullptr || fileName == nullptr || *fileName == '\0' ||
      (size != 0 && buffer == nullptr)) {
    host::Fail(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const std::string found =
      host::FindProgram(host::HostPath(fileName), extension != nullptr ? extension : "");
  if (found.empty()) {
    host::Fail(ERROR_FILE_NOT_FOUND);
    return 0;
  }
  const auto length = static_cast<DWORD>(found.size());
  if (length >= size) {
    return length + 1;
  }
  std::memcpy(buffer, found.c_str(), length + 1);
  if (filePart != nullptr) {
    *filePart = buffer + (found.rfind('/') + 1);
  }
  return length;
}
