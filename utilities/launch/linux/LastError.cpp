#include "LastError.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Paths.h"

namespace {

thread_local DWORD t_lastError = 0;

struct Error {
  DWORD code;
  int causes[3];  // errno values; 0: unused
  const char* text;
};

// Errors of files, child processes and writes; other errno values are ERROR_GEN_FAILURE.
constexpr Error kErrors[] = {
    {ERROR_FILE_NOT_FOUND, {ENOENT}, "The system cannot find the file specified."},
    {ERROR_PATH_NOT_FOUND, {ENOTDIR}, "The system cannot find the path specified."},
    {ERROR_TOO_MANY_OPEN_FILES, {EMFILE, ENFILE}, "The system cannot open the file."},
    {ERROR_ACCESS_DENIED, {EACCES, EPERM, EISDIR}, "Access is denied."},
    {ERROR_INVALID_HANDLE, {EBADF}, "The handle is invalid."},
    {ERROR_NOT_ENOUGH_MEMORY,
     {ENOMEM, EAGAIN},
     "Not enough memory resources are available to process this command."},
    {ERROR_WRITE_PROTECT, {EROFS}, "The media is write protected."},
    {ERROR_GEN_FAILURE, {}, "A device attached to the system is not functioning."},
    {ERROR_SHARING_VIOLATION,
     {ETXTBSY, EBUSY},
     "The process cannot access the file because it is being used by another process."},
    {ERROR_NOT_SUPPORTED, {ENOSYS, EOPNOTSUPP, ECHILD}, "The request is not supported."},
    {ERROR_INVALID_PARAMETER, {EINVAL, ESRCH}, "The parameter is incorrect."},
    {ERROR_BROKEN_PIPE, {EPIPE}, "The pipe has been ended."},
    {ERROR_DISK_FULL, {ENOSPC, EDQUOT}, "There is not enough space on the disk."},
    {ERROR_BAD_EXE_FORMAT, {ENOEXEC}, "%1 is not a valid Win32 application."},
    {ERROR_FILENAME_EXCED_RANGE, {ENAMETOOLONG, E2BIG}, "The filename or extension is too long."},
    {ERROR_FILE_TOO_LARGE, {EFBIG}, "The file size exceeds the limit allowed and cannot be saved."},
    {ERROR_IO_DEVICE, {EIO}, "The request could not be performed because of an I/O device error."},
    {ERROR_CANT_RESOLVE_FILENAME,
     {ELOOP},
     "The name of the file cannot be resolved by the system."},
};

}  // namespace

namespace linux {

DWORD ErrorFromErrno(int error) {
  for (const Error& row : kErrors) {
    if (std::find(std::begin(row.causes), std::end(row.causes), error) != std::end(row.causes)) {
      return row.code;
    }
  }
  return ERROR_GEN_FAILURE;
}

DWORD FileError(int error, const std::string& linuxPath) {
  struct stat status{};
  const bool isFileMissing =
      error == ENOENT && !linuxPath.empty() && ::stat(DirectoryOf(linuxPath).c_str(), &status) == 0;
  return error == ENOENT && !isFileMissing ? ERROR_PATH_NOT_FOUND : ErrorFromErrno(error);
}

}  // namespace linux

DWORD GetLastError() {
  return t_lastError;
}

void SetLastError(DWORD code) {
  t_lastError = code;
}

// Differs from Windows:
// - Only ALLOCATE_BUFFER | FROM_SYSTEM | IGNORE_INSERTS; other flags are refused with 87.
// - Texts are English, whatever the language, and exist only for errors of files, child processes
//   and writes.
DWORD FormatMessageA(DWORD flags, std::nullptr_t, DWORD code, DWORD /*language*/, LPSTR buffer,
                     DWORD /*size: minimum to allocate*/, std::nullptr_t) {
  constexpr DWORD kSupported =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  if (flags != kSupported) {
    return linux::Fail(ERROR_INVALID_PARAMETER, DWORD{0});
  }
  for (const Error& row : kErrors) {
    if (row.code == code) {
      const std::string text = std::string(row.text) + "\r\n";
      char* copy = ::strdup(text.c_str());
      // With ALLOCATE_BUFFER the argument is the address of the pointer to fill.
      std::memcpy(buffer, static_cast<const void*>(&copy), sizeof copy);
      return static_cast<DWORD>(text.size());
    }
  }
  return linux::Fail(ERROR_MR_MID_NOT_FOUND, DWORD{0});
}

LPVOID LocalFree(LPVOID memory) {
  std::free(memory);
  return nullptr;
}
