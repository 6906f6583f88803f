#include <atomic>
#include <cstring>

#include "Handles.h"
#include "LastError.h"
#include "mstcpip.h"

namespace {

// A SOCKET is the address of a Record.
struct Record {
  linux::Descriptor descriptor;
  int error = WSAENOTCONN;  // of every transfer; 0 if connected
};

std::atomic<int> g_startups{0};

Record& RecordOf(SOCKET socket) {
  return *reinterpret_cast<Record*>(socket);
}

int Refuse(int code) {
  return linux::Fail(static_cast<DWORD>(code), SOCKET_ERROR);
}

// The codes that the launcher distinguishes, and likely ones; all others are WSAENETDOWN.
int SocketError(int error) {
  switch (error) {
    case ECONNRESET:
    case EPIPE:
      return WSAECONNRESET;
    case EISCONN:
      return WSAEISCONN;
    case ENOTCONN:
      return WSAENOTCONN;
    case ECONNREFUSED:
      return WSAECONNREFUSED;
    default:
      return WSAENETDOWN;
  }
}

// After a failed transfer, all others fail.
int FailTransfer(Record& record, int error) {
  return Refuse(record.error = SocketError(error));
}

// The common checks of WSASend and WSARecv; 0 if they pass.
int TransferRefusal(const Record& record, DWORD bufferCount, DWORD flags) {
  return bufferCount != 1 ? WSAEINVAL : flags != 0 ? WSAEOPNOTSUPP : record.error;
}

// Linux may connect a socket to itself if nothing listens on an ephemeral port.
bool IsConnectedToItself(int descriptor) {
  sockaddr_in own{}, peer{};
  socklen_t length = sizeof own;
  return ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &length) == 0 &&
         ::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
         std::memcmp(&own, &peer, sizeof own) == 0;
}

}  // namespace

// Differs from Windows:
// - Grants every version.
int WSAStartup(WORD versionRequested, WSADATA* data) {
  data->wVersion = versionRequested;
  ++g_startups;
  return 0;
}

// Differs from Windows:
// - Open sockets stay open.
int WSACleanup() {
  return g_startups == 0 ? Refuse(WSANOTINITIALISED) : (--g_startups, 0);
}

// Differs from Windows:
// - IPv4 streams only, used by the thread that creates them. Group and flags have no effect.
SOCKET WSASocketA(int family, int type, int protocol, LPWSAPROTOCOL_INFOA, unsigned /*group*/,
                  DWORD /*flags*/) {
  const int refusal = g_startups == 0       ? WSANOTINITIALISED
                      : family != AF_INET   ? WSAEAFNOSUPPORT
                      : type != SOCK_STREAM ? WSAESOCKTNOSUPPORT
                                            : 0;
  linux::Descriptor descriptor(refusal == 0 ? ::socket(family, type | SOCK_CLOEXEC, protocol) : -1);
  if (!descriptor) {
    Refuse(refusal != 0 ? refusal : SocketError(errno));
    return INVALID_SOCKET;
  }
  return reinterpret_cast<SOCKET>(new Record{std::move(descriptor)});
}

// Differs from Windows:
// - Levels and options have the values of Linux. An unknown one is 10050.
int setsockopt(SOCKET socket, int level, int name, const void* value, int length) {
  const int result = ::setsockopt(RecordOf(socket).descriptor.Get(), level, name, value,
                                  static_cast<socklen_t>(length));
  return result == 0 ? 0 : Refuse(SocketError(errno));
}

// Differs from Windows:
// - Every request is refused with 10045.
int WSAIoctl(SOCKET, DWORD, LPVOID, DWORD, std::nullptr_t, DWORD, LPDWORD, LPWSAOVERLAPPED,
             LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  return Refuse(WSAEOPNOTSUPP);
}

// Differs from Windows:
// - A connection of the socket to itself is refused with 10061.
// - Errors that SocketError does not list are 10050.
int WSAConnect(SOCKET socket, const sockaddr* name, int nameLength, std::nullptr_t, std::nullptr_t,
               LPQOS, LPQOS) {
  Record& record = RecordOf(socket);
  if (::connect(record.descriptor.Get(), name, static_cast<socklen_t>(nameLength)) != 0) {
    return Refuse(SocketError(errno));
  }
  if (IsConnectedToItself(record.descriptor.Get())) {
    const sockaddr none{AF_UNSPEC, {}};  // disconnects
    (void)::connect(record.descriptor.Get(), &none, sizeof none);
    return Refuse(WSAECONNREFUSED);
  }
  record.error = 0;
  return 0;
}

// Differs from Windows:
// - One buffer per call, else 10022; flags are refused with 10045.
int WSASend(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD sent, DWORD flags,
            LPWSAOVERLAPPED, LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  Record& record = RecordOf(socket);
  if (const int refusal = TransferRefusal(record, bufferCount, flags)) {
    return Refuse(refusal);
  }
  for (*sent = 0; *sent < buffers->len;) {
    const ssize_t length =
        ::send(record.descriptor.Get(), buffers->buf + *sent, buffers->len - *sent, MSG_NOSIGNAL);
    if (length < 0 && errno != EINTR) {
      return FailTransfer(record, errno);
    }
    *sent += length > 0 ? static_cast<DWORD>(length) : 0;
  }
  return 0;
}

// Differs from Windows:
// - One buffer per call, else 10022; flags are refused with 10045.
// - Bytes that arrived before a reset can still be received.
int WSARecv(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD received, LPDWORD flags,
            LPWSAOVERLAPPED, LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  Record& record = RecordOf(socket);
  if (const int refusal = TransferRefusal(record, bufferCount, *flags)) {
    return Refuse(refusal);
  }
  ssize_t length = 0;
  do {
    length = ::recv(record.descriptor.Get(), buffers->buf, buffers->len, 0);
  } while (length < 0 && errno == EINTR);
  if (length < 0) {
    return FailTransfer(record, errno);
  }
  *received = static_cast<DWORD>(length);
  return 0;
}

int shutdown(SOCKET socket, SD_HOW) {
  Record& record = RecordOf(socket);
  if (::shutdown(record.descriptor.Get(), SHUT_RDWR) != 0) {
    return Refuse(SocketError(errno));
  }
  record.error = WSAESHUTDOWN;
  return 0;
}

int closesocket(SOCKET socket) {
  delete &RecordOf(socket);
  return 0;
}

extern "C" hostent* __real_gethostbyname(const char* name);
extern "C" hostent* __wrap_gethostbyname(const char* name);

// All gethostbyname calls of the program come here (see CMakeLists.txt): on Windows it sets the
// last error, to 0 on success.
//
// Differs from Windows:
// - Every failure is 11001.
hostent* __wrap_gethostbyname(const char* name) {
  hostent* found = __real_gethostbyname(name);
  WSASetLastError(found != nullptr ? 0 : WSAHOST_NOT_FOUND);
  return found;
}
