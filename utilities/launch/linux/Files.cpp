#include <poll.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Handles.h"
#include "LastError.h"
#include "Paths.h"
#include "io.h"

namespace {

// False on failure, with errno set.
bool CopyContents(int target, int source) {
  constexpr std::size_t kLargest = 0x7FFFF000;  // limit of one call
  char block[16384];
  off_t offset = 0;
  for (;;) {
    ssize_t moved = ::sendfile(target, source, &offset, kLargest);
    if (moved < 0 && (errno == EINVAL || errno == ENOSYS)) {  // on some file systems
      moved = ::pread(source, block, sizeof block, offset);
      moved = moved > 0 ? ::write(target, block, static_cast<std::size_t>(moved)) : moved;
      offset += moved > 0 ? moved : 0;
    }
    if (moved == 0) {
      return true;
    }
    if (moved < 0 && errno != EINTR) {
      return false;
    }
  }
}

// Copies permissions and times, if the target's file system supports them.
bool CopyStatus(int target, const struct stat& status) {
  const auto isDone = [](int result) {
    return result == 0 || errno == EPERM || errno == EOPNOTSUPP;
  };
  const timespec times[] = {status.st_atim, status.st_mtim};
  return isDone(::fchmod(target, status.st_mode & 0777)) && isDone(::futimens(target, times));
}

// Resolves the target's symbolic links. Returns the error that prevents its replacement.
DWORD RefusalOf(std::string& target, const struct stat& source) {
  struct stat status{};
  if (::lstat(target.c_str(), &status) != 0) {
    return ERROR_SUCCESS;  // no such file; other errors show when it is created
  }
  target = linux::ResolvedPath(target);
  if (::stat(target.c_str(), &status) != 0) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (status.st_dev == source.st_dev && status.st_ino == source.st_ino) {
    return ERROR_SHARING_VIOLATION;
  }
  // Also the bit: faccessat allows everything to root.
  const bool isWritable = (status.st_mode & S_IWUSR) != 0 &&
                          ::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) == 0;
  return S_ISREG(status.st_mode) && isWritable ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

// Copies to a temporary file beside the target, then renames it. Returns an error code.
DWORD Replace(const std::string& target, int source, const struct stat& status) {
  std::string path = linux::DirectoryOf(target) + "/.copy-XXXXXX";
  linux::Descriptor copy(::mkostemp(path.data(), O_CLOEXEC));
  if (!copy) {
    return linux::FileError(errno, target);
  }
  if (CopyContents(copy.Get(), source) && CopyStatus(copy.Get(), status) &&
      ::close(copy.Release()) == 0 && ::rename(path.c_str(), target.c_str()) == 0) {
    return ERROR_SUCCESS;
  }
  const int error = errno;
  ::unlink(path.c_str());
  return linux::FileError(error, target);
}

}  // namespace

// Differs from Windows:
// - Copies to a temporary file beside the target, then renames it: a reader or a running program
//   keeps the old file. The target is a new file, without the old one's hard links.
// - Only regular files, and only with overwriting (failIfExists is refused with 87). A symbolic
//   link as the target is followed; a dangling one is 2.
// - Only permissions and times are copied, if the file system supports them.
BOOL CopyFileA(LPCSTR existing, LPCSTR target, BOOL failIfExists) {
  if (failIfExists != FALSE) {
    return linux::Fail(ERROR_INVALID_PARAMETER);
  }
  const std::string source = linux::LinuxPath(existing);
  std::string path = linux::LinuxPath(target);
  struct stat status{};
  const linux::Descriptor file(linux::OpenRegularFile(source));
  if (!file || ::fstat(file.Get(), &status) != 0) {
    return linux::Fail(linux::FileError(errno, source));
  }
  DWORD error = RefusalOf(path, status);
  error = error == ERROR_SUCCESS ? Replace(path, file.Get(), status) : error;
  return error == ERROR_SUCCESS ? TRUE : linux::Fail(error);
}

// Differs from Windows:
// - Only read-only (no write permission for the owner) or normal.
DWORD GetFileAttributesA(LPCSTR fileName) {
  const std::string path = linux::LinuxPath(fileName);
  struct stat status{};
  if (::stat(path.c_str(), &status) != 0) {
    return linux::Fail(linux::FileError(errno, path), INVALID_FILE_ATTRIBUTES);
  }
  return (status.st_mode & S_IWUSR) == 0 ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_NORMAL;
}

// Differs from Windows:
// - Read-only removes all write permissions; clearing it gives write permission to the owner. Other
//   attributes have no effect.
BOOL SetFileAttributesA(LPCSTR fileName, DWORD attributes) {
  const std::string path = linux::LinuxPath(fileName);
  struct stat status{};
  if (::stat(path.c_str(), &status) != 0) {
    return linux::Fail(linux::FileError(errno, path));
  }
  const bool isReadOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
  const mode_t mode = isReadOnly ? status.st_mode & ~0222u : status.st_mode | S_IWUSR;
  return ::chmod(path.c_str(), mode) == 0 ? TRUE : linux::Fail(linux::ErrorFromErrno(errno));
}

// Differs from Windows:
// - Line feeds are not translated.
// - Waits if the stream is non-blocking.
// - A pipe without a reader raises SIGPIPE, which ends the process unless it is ignored.
int _write(int descriptor, const void* data, unsigned size) {
  const char* next = static_cast<const char*>(data);
  const char* const end = next + size;
  while (next != end) {
    const ssize_t written = ::write(descriptor, next, static_cast<std::size_t>(end - next));
    next += written > 0 ? written : 0;
    if (written < 0 && errno == EAGAIN) {
      pollfd stream{descriptor, POLLOUT, 0};
      ::poll(&stream, 1, -1);
    } else if (written < 0 && errno != EINTR) {
      return linux::Fail(linux::ErrorFromErrno(errno), -1);
    }
  }
  return static_cast<int>(size);
}
