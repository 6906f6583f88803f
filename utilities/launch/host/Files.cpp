#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "LastError.h"
#include "Owner.h"
#include "Paths.h"

namespace {

constexpr mode_t kPermissions = 0777;
constexpr mode_t kWritePermissions = 0222;

// A new file beside the target, removed again unless it became the target.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& target)
      : m_Path(host::DirectoryOf(target) + "/.copy-XXXXXX"),
        m_File(::mkostemp(m_Path.data(), O_CLOEXEC)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (m_File) {
      ::unlink(m_Path.c_str());
    }
  }

  bool IsOpen() const { return static_cast<bool>(m_File); }
  int Get() const { return m_File.Get(); }

  // Returns errno's value, 0 on success.
  int Become(const std::string& target, bool failIfExists) {
    const unsigned flags = failIfExists ? RENAME_NOREPLACE : 0;
    if (::renameat2(AT_FDCWD, m_Path.c_str(), AT_FDCWD, target.c_str(), flags) != 0) {
      return errno;
    }
    m_File.Reset();
    return 0;
  }

 private:
  std::string m_Path;
  host::Descriptor m_File;
};

bool WriteAll(int target, const char* data, ssize_t length) {
  while (length > 0) {
    const ssize_t written = ::write(target, data, static_cast<std::size_t>(length));
    if (written < 0 && errno != EINTR) {
      return false;
    }
    if (written > 0) {
      data += written;
      length -= written;
    }
  }
  return true;
}

// Contents, permissions and time of last write. False with errno set.
bool CopyInto(int target, int source, const struct stat& status) {
  char block[65536];
  ssize_t length = 0;
  while ((length = ::read(source, block, sizeof block)) != 0) {
    if (length < 0 && errno == EINTR) {
      continue;
    }
    if (length < 0 || !WriteAll(target, block, length)) {
      return false;
    }
  }
  const timespec times[] = {status.st_atim, status.st_mtim};
  return ::fchmod(target, status.st_mode & kPermissions) == 0 && ::futimens(target, times) == 0;
}

// Why an existing target cannot be replaced, 0 when it can.
DWORD RefusalOf(const std::string& target, const struct stat& targetStatus,
                const struct stat& sourceStatus, bool failIfExists) {
  if (failIfExists) {
    return ERROR_FILE_EXISTS;
  }
  if (targetStatus.st_dev == sourceStatus.st_dev && targetStatus.st_ino == sourceStatus.st_ino) {
    return ERROR_SHARING_VIOLATION;
  }
  // The bit as well as the call: the superuser may write anything.
  const bool isWritable = (targetStatus.st_mode & S_IWUSR) != 0 &&
                          ::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) == 0;
  return S_ISREG(targetStatus.st_mode) && isWritable ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

DWORD CopyFileTo(const std::string& source, std::string target, bool failIfExists) {
  struct stat sourceStatus {};
  if (::stat(source.c_str(), &sourceStatus) != 0) {
    return host::FileErrorFromErrno(errno, source.c_str());
  }
  // Asked before the open, which would wait for the far end of a pipe.
  if (!S_ISREG(sourceStatus.st_mode)) {
    return ERROR_ACCESS_DENIED;
  }
  const host::Descriptor file(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) {
    return host::FileErrorFromErrno(errno, source.c_str());
  }
  struct stat targetStatus {};
  if (::lstat(target.c_str(), &targetStatus) == 0) {
    if (S_ISLNK(targetStatus.st_mode)) {
      target = host::ResolvedPath(target);
      if (target.empty() || ::stat(target.c_str(), &targetStatus) != 0) {
        return ERROR_FILE_NOT_FOUND;
      }
    }
    const DWORD refusal = RefusalOf(target, targetStatus, sourceStatus, failIfExists);
    if (refusal != ERROR_SUCCESS) {
      return refusal;
    }
  }
  TemporaryFile temporary(target);
  if (!temporary.IsOpen()) {
    return host::FileErrorFromErrno(errno, target.c_str());
  }
  if (!CopyInto(temporary.Get(), file.Get(), sourceStatus)) {
    return host::ErrorFromErrno(errno);
  }
  const int error = temporary.Become(target, failIfExists);
  return error == 0 ? ERROR_SUCCESS : host::FileErrorFromErrno(error, target.c_str());
}

}  // namespace

// Differs from Windows:
// - The copy is made beside the target and then takes its name, so that a reader or a running
//   program keeps the old file whole; the target becomes a new file, with none of the old one's
//   hard links.
// - Only regular files; a symbolic link as the target is followed, one that leads nowhere is 2.
// - Permissions and the time of last write come along, nothing else.
BOOL CopyFileA(LPCSTR existing, LPCSTR target, BOOL failIfExists) {
  if (existing == nullptr || target == nullptr) {
    return host::Fail(ERROR_INVALID_PARAMETER);
  }
  const DWORD error =
      CopyFileTo(host::HostPath(existing), host::HostPath(target), failIfExists != FALSE);
  return error == ERROR_SUCCESS ? TRUE : host::Fail(error);
}

// Differs from Windows:
// - Only three attributes: directory, read-only (the owner has no write permission), or normal.
DWORD GetFileAttributesA(LPCSTR fileName) {
  if (fileName == nullptr) {
    host::Fail(ERROR_INVALID_PARAMETER);
    return INVALID_FILE_ATTRIBUTES;
  }
  const std::string path = host::HostPath(fileName);
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    host::Fail(host::FileErrorFromErrno(errno, path.c_str()));
    return INVALID_FILE_ATTRIBUTES;
  }
  const DWORD attributes = (S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : 0) |
                           ((status.st_mode & S_IWUSR) == 0 ? FILE_ATTRIBUTE_READONLY : 0);
  return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

// Differs from Windows:
// - Read-only takes the write permission from everybody; its removal gives it to the owner.
// - The archive attribute is accepted and has no effect; others than the four are refused with 87.
BOOL SetFileAttributesA(LPCSTR fileName, DWORD attributes) {
  constexpr DWORD kSupported = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY |
                               FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NORMAL;
  if (fileName == nullptr || (attributes & ~kSupported) != 0) {
    return host::Fail(ERROR_INVALID_PARAMETER);
  }
  const std::string path = host::HostPath(fileName);
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    return host::Fail(host::FileErrorFromErrno(errno, path.c_str()));
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && !S_ISDIR(status.st_mode)) {
    return host::Fail(ERROR_INVALID_PARAMETER);
  }
  const mode_t permissions = (attributes & FILE_ATTRIBUTE_READONLY) != 0
                                 ? status.st_mode & kPermissions & ~kWritePermissions
                                 : (status.st_mode & kPermissions) | S_IWUSR;
  return ::chmod(path.c_str(), permissions) == 0 ? TRUE : host::Fail(host::ErrorFromErrno(errno));
}
