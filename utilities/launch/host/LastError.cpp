#include "LastError.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

#include "Paths.h"
#include "winsock2.h"

namespace {

thread_local DWORD t_LastError = 0;

struct ErrorCodes {
  int error;
  DWORD system;
  int socket;
};

// What the host's calls of this layer can report. Anything else is a general failure.
constexpr ErrorCodes kErrorCodes[] = {
    {EACCES, ERROR_ACCESS_DENIED, WSAEACCES},
    {EADDRNOTAVAIL, ERROR_GEN_FAILURE, WSAEADDRNOTAVAIL},
    {EAGAIN, ERROR_NOT_ENOUGH_MEMORY, WSAENOBUFS},
    {EBADF, ERROR_INVALID_HANDLE, WSAENOTSOCK},
    {EBUSY, ERROR_SHARING_VIOLATION, WSAENOBUFS},
    {ECONNABORTED, ERROR_GEN_FAILURE, WSAECONNABORTED},
    {ECONNREFUSED, ERROR_GEN_FAILURE, WSAECONNREFUSED},
    {ECONNRESET, ERROR_GEN_FAILURE, WSAECONNRESET},
    {EDQUOT, ERROR_DISK_FULL, WSAENOBUFS},
    {EEXIST, ERROR_FILE_EXISTS, WSAEINVAL},
    {E2BIG, ERROR_FILENAME_EXCED_RANGE, WSAEINVAL},
    {EFBIG, ERROR_FILE_TOO_LARGE, WSAEINVAL},
    {EHOSTUNREACH, ERROR_GEN_FAILURE, WSAEHOSTUNREACH},
    {EINVAL, ERROR_INVALID_PARAMETER, WSAEINVAL},
    {EIO, ERROR_IO_DEVICE, WSAENETDOWN},
    {EISCONN, ERROR_GEN_FAILURE, WSAEISCONN},
    {EISDIR, ERROR_ACCESS_DENIED, WSAEINVAL},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME, WSAEINVAL},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES, WSAEMFILE},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE, WSAEINVAL},
    {ENETDOWN, ERROR_GEN_FAILURE, WSAENETDOWN},
    {ENETUNREACH, ERROR_GEN_FAILURE, WSAENETUNREACH},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES, WSAEMFILE},
    {ENOBUFS, ERROR_NOT_ENOUGH_MEMORY, WSAENOBUFS},
    {ENOENT, ERROR_FILE_NOT_FOUND, WSAEINVAL},
    {ENOEXEC, ERROR_BAD_EXE_FORMAT, WSAEINVAL},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY, WSAENOBUFS},
    {ENOSPC, ERROR_DISK_FULL, WSAENOBUFS},
    {ENOTCONN, ERROR_GEN_FAILURE, WSAENOTCONN},
    {ENOTDIR, ERROR_PATH_NOT_FOUND, WSAEINVAL},
    {EPERM, ERROR_ACCESS_DENIED, WSAEACCES},
    // Not a pipe of the caller's: the peer is gone, which Windows calls a reset.
    {EPIPE, ERROR_GEN_FAILURE, WSAECONNRESET},
    {EROFS, ERROR_WRITE_PROTECT, WSAEACCES},
    {ESRCH, ERROR_INVALID_PARAMETER, WSAEINVAL},
    {ETIMEDOUT, ERROR_GEN_FAILURE, WSAETIMEDOUT},
    {ETXTBSY, ERROR_SHARING_VIOLATION, WSAEINVAL},
};

struct Text {
  DWORD code;
  const char* text;
};

// Sorted by code.
constexpr Text kTexts[] = {
    {0, "The operation completed successfully."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {18, "There are no more files."},
    {19, "The media is write protected."},
    {24, "The program issued a command but the command length is incorrect."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {50, "The request is not supported."},
    {80, "The file exists."},
    {87, "The parameter is incorrect."},
    {112, "There is not enough space on the disk."},
    {126, "The specified module could not be found."},
    {127, "The specified procedure could not be found."},
    {193, "%1 is not a valid Win32 application."},
    {206, "The filename or extension is too long."},
    {223, "The file size exceeds the limit allowed and cannot be saved."},
    {234, "More data is available."},
    {317,
     "The system cannot find message text for message number 0x%1 in the message file for %2."},
    {1117, "The request could not be performed because of an I/O device error."},
    {1815, "The specified resource language ID cannot be found in the image file."},
    {1921, "The name of the file cannot be resolved by the system."},
    {10004, "A blocking operation was interrupted by a call to WSACancelBlockingCall."},
    {10013, "An attempt was made to access a socket in a way forbidden by its access permissions."},
    {10014,
     "The system detected an invalid pointer address in attempting to use a pointer argument in a "
     "call."},
    {10022, "An invalid argument was supplied."},
    {10024, "Too many open sockets."},
    {10038, "An operation was attempted on something that is not a socket."},
    {10043,
     "The requested protocol has not been configured into the system, or no implementation for it "
     "exists."},
    {10044, "The support for the specified socket type does not exist in this address family."},
    {10045, "The attempted operation is not supported for the type of object referenced."},
    {10047, "An address incompatible with the requested protocol was used."},
    {10049, "The requested address is not valid in its context."},
    {10050, "A socket operation encountered a dead network."},
    {10051, "A socket operation was attempted to an unreachable network."},
    {10053, "An established connection was aborted by the software in your host machine."},
    {10054, "An existing connection was forcibly closed by the remote host."},
    {10055,
     "An operation on a socket could not be performed because the system lacked sufficient buffer "
     "space or because a queue was full."},
    {10056, "A connect request was made on an already connected socket."},
    {10057,
     "A request to send or receive data was disallowed because the socket is not connected and "
     "(when sending on a datagram socket using a sendto call) no address was supplied."},
    {10058,
     "A request to send or receive data was disallowed because the socket had already been shut "
     "down in that direction with a previous shutdown call."},
    {10060,
     "A connection attempt failed because the connected party did not properly respond after a "
     "period of time, or established connection failed because connected host has failed to "
     "respond."},
    {10061, "No connection could be made because the target machine actively refused it."},
    {10065, "A socket operation was attempted to an unreachable host."},
    {10092, "The Windows Sockets version requested is not supported."},
    {10093, "Either the application has not called WSAStartup, or WSAStartup failed."},
    {11001, "No such host is known."},
    {11002,
     "This is usually a temporary error during hostname resolution and means that the local "
     "server did not receive a response from an authoritative server."},
    {11003, "A non-recoverable error occurred during a database lookup."},
    {11004, "The requested name is valid, but no data of the requested type was found."},
};

const ErrorCodes* FindErrno(int error) {
  const auto* found = std::find_if(std::begin(kErrorCodes), std::end(kErrorCodes),
                                   [&](const ErrorCodes& codes) { return codes.error == error; });
  return found == std::end(kErrorCodes) ? nullptr : found;
}

}  // namespace

namespace host {

DWORD ErrorFromErrno(int error) {
  const ErrorCodes* codes = FindErrno(error);
  return codes != nullptr ? codes->system : ERROR_GEN_FAILURE;
}

int SocketErrorFromErrno(int error) {
  const ErrorCodes* codes = FindErrno(error);
  return codes != nullptr ? codes->socket : WSAENETDOWN;
}

DWORD FileErrorFromErrno(int error, const char* hostPath) {
  struct stat status {};
  const bool isPathMissing =
      *hostPath == '\0' || ::stat(DirectoryOf(hostPath).c_str(), &status) != 0;
  if (error == ENOENT && isPathMissing) {
    return ERROR_PATH_NOT_FOUND;
  }
  return ErrorFromErrno(error);
}

const char* ErrorText(DWORD code) {
  const auto* found = std::lower_bound(std::begin(kTexts), std::end(kTexts), code,
                                       [](const Text& text, DWORD key) { return text.code < key; });
  return found != std::end(kTexts) && found->code == code ? found->text : nullptr;
}

BOOL Fail(DWORD code) {
  t_LastError = code;
  return FALSE;
}

}  // namespace host

DWORD GetLastError() {
  return t_LastError;
}

void SetLastError(DWORD code) {
  t_LastError = code;
}

int WSAGetLastError() {
  return static_cast<int>(t_LastError);
}

void WSASetLastError(int code) {
  t_LastError = static_cast<DWORD>(code);
}

// Differs from Windows:
// - Only the form ALLOCATE_BUFFER + FROM_SYSTEM + IGNORE_INSERTS; anything else is refused with 87.
// - Texts are Windows' English ones whatever the language asked for (neutral, user default or
//   English), and only for the codes that the layer gives.
DWORD FormatMessageA(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPSTR buffer,
                     DWORD size, void* arguments) {
  constexpr DWORD kSupported =
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  constexpr DWORD kEnglish = 0x409;
  if (flags != kSupported || source != nullptr || arguments != nullptr || buffer == nullptr) {
    host::Fail(ERROR_INVALID_PARAMETER);
    return 0;
  }
  if (language != 0 && language != MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT) &&
      language != kEnglish) {
    host::Fail(ERROR_RESOURCE_LANG_NOT_FOUND);
    return 0;
  }
  const char* text = host::ErrorText(code);
  if (text == nullptr) {
    host::Fail(ERROR_MR_MID_NOT_FOUND);
    return 0;
  }
  constexpr char kLineEnd[] = "\r\n";
  const std::size_t length = std::strlen(text) + std::strlen(kLineEnd);
  auto* copy = static_cast<char*>(std::malloc(std::max<std::size_t>(length + 1, size)));
  if (copy == nullptr) {
    host::Fail(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  std::strcat(std::strcpy(copy, text), kLineEnd);
  // With ALLOCATE_BUFFER the argument is the address of the caller's pointer.
  std::memcpy(buffer, &copy, sizeof copy);
  return static_cast<DWORD>(length);
}

HLOCAL LocalFree(HLOCAL memory) {
  std::free(memory);
  return nullptr;
}
