#include <dlfcn.h>
#include <link.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "LastError.h"
#include "Sockets.h"
#include "direct.h"
#include "io.h"
#include "mstcpip.h"

int _write(int descriptor, const void* data, unsigned size) {
  host::SendGathered();
  const char* next = static_cast<const char*>(data);
  for (unsigned left = size; left > 0;) {
    const ssize_t written = ::write(descriptor, next, left);
    if (written >= 0) {
      next += written;
      left -= static_cast<unsigned>(written);
    } else if (errno == EAGAIN) {
      pollfd ready{descriptor, POLLOUT, 0};
      ::poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      const int error = errno;
      host::Fail(host::ErrorFromErrno(error));
      errno = error;
      return -1;
    }
  }
  return static_cast<int>(size);
}

char* _fullpath(char* buffer, const char* path, std::size_t size) {
  char resolved[PATH_MAX];
  if (::realpath(path, resolved) == nullptr || std::strlen(resolved) >= size) {
    return nullptr;
  }
  return std::strcpy(buffer, resolved);
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
  link_map* map = nullptr;
  if (::dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || std::strlen(map->l_name) >= size) {
    return size;
  }
  std::strcpy(buffer, map->l_name);
  return static_cast<DWORD>(std::strlen(buffer));
}

BOOL SetDllDirectoryA(LPCSTR) {
  return TRUE;
}
BOOL SetThreadErrorMode(DWORD, LPDWORD) {
  return TRUE;
}
HANDLE GetCurrentProcess() {
  return INVALID_HANDLE_VALUE;
}
BOOL TerminateProcess(HANDLE, unsigned code) {
  ::_exit(static_cast<int>(code));
}
int WSAIoctl(SOCKET, DWORD, void*, DWORD, void*, DWORD, DWORD*, void*, void*) {
  WSASetLastError(WSAEOPNOTSUPP);
  return SOCKET_ERROR;
}
