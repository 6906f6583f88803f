#include "Sockets.h"

#include <netinet/tcp.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "LastError.h"
#include "SocketTable.h"

// The callers send and receive a byte at a time, where a system call each would cost a hundred
// times the rest. So a receive takes what the system has, up to a buffer full, and serves from
// there; a send gathers. Nothing can tell the difference: gathered bytes leave before the thread's
// next call that can block (receive, connect, wait, sleep), before a send on another socket, at
// shutdown and close, and when the buffer is full. A failed send then fails the socket's next call.

namespace {

using host::FindSocket;
using Record = host::SocketRecord;
constexpr std::size_t kBufferSize = host::kSocketBufferSize;

// The socket on which this thread has gathered bytes, if any: one at a time, so that bytes leave
// in the order of the sends even across sockets.
thread_local SOCKET t_Gathering = 0;

int Refuse(int code) {
  WSASetLastError(code);
  return SOCKET_ERROR;
}

// Not inline, like ReadAhead: what the rare paths need, every byte would pay for (a fifth of a
// relay's instructions).
[[gnu::noinline]] int RefuseUnknown() {
  return Refuse(host::AreSocketsStarted() ? WSAENOTSOCK : WSANOTINITIALISED);
}

// The stream is broken: what was read ahead counts no more. Returns the code.
int Break(Record& record, int code) {
  record.error = code;
  record.readBegin = record.readEnd = 0;
  return code;
}

// A failure is left in the record.
void SendAll(Record& record, const char* data, std::size_t length) {
  while (length > 0) {
    const ssize_t sent = ::send(record.descriptor, data, length, MSG_NOSIGNAL);
    if (sent >= 0) {
      data += sent;
      length -= static_cast<std::size_t>(sent);
    } else if (errno != EINTR) {
      Break(record, host::SocketErrorFromErrno(errno));
      return;
    }
  }
}

void SendGatheredOf(Record& record) {
  const std::size_t length = record.gathered;
  record.gathered = 0;
  SendAll(record, record.gather, length);
}

// The code for a transfer in one direction, 0 when it may go on.
int TransferError(const Record& record, bool isShut) {
  return !record.isConnected ? WSAENOTCONN : isShut ? WSAESHUTDOWN : record.error;
}

// Fills the empty read-ahead buffer, which stays empty at the end of the stream.
[[gnu::noinline]] int ReadAhead(Record& record) {
  host::SendGathered();
  SendGatheredOf(record);
  if (const int error = TransferError(record, record.isReceiveShut)) {
    return error;
  }
  if (record.readBegin != record.readEnd) {
    return 0;
  }
  ssize_t length = 0;
  do {
    length = ::recv(record.descriptor, record.readAhead, kBufferSize, 0);
  } while (length < 0 && errno == EINTR);
  if (length < 0) {
    return Break(record, host::SocketErrorFromErrno(errno));
  }
  record.readBegin = 0;
  record.readEnd = static_cast<std::size_t>(length);
  return 0;
}

// Returns an error code. A signal leaves the attempt going on in the system.
int ConnectTo(int descriptor, const sockaddr* name, socklen_t length) {
  int error = ::connect(descriptor, name, length) == 0 ? 0 : errno;
  if (error == EINTR) {
    pollfd connecting{descriptor, POLLOUT, 0};
    while (::poll(&connecting, 1, -1) < 0 && errno == EINTR) {
    }
    socklen_t size = sizeof error;
    ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
  }
  return error == 0 ? 0 : host::SocketErrorFromErrno(error);
}

// What Windows says about an address before it is tried, 0 when nothing.
int AddressError(const sockaddr* name, int length) {
  if (name == nullptr || length < static_cast<int>(sizeof(sockaddr_in))) {
    return WSAEFAULT;
  }
  if (name->sa_family != AF_INET) {
    return WSAEAFNOSUPPORT;
  }
  sockaddr_in address{};
  std::memcpy(&address, name, sizeof address);
  return address.sin_port == 0 || address.sin_addr.s_addr == INADDR_ANY ? WSAEADDRNOTAVAIL : 0;
}

}  // namespace

namespace host {

void SendGathered() {
  if (t_Gathering == 0) {
    return;
  }
  Record* record = FindSocket(t_Gathering);
  t_Gathering = 0;
  if (record != nullptr) {
    SendGatheredOf(*record);
  }
}

}  // namespace host

int WSAStartup(WORD versionRequested, WSADATA* data) {
  const int major = versionRequested & 0xFF;
  const int minor = versionRequested >> 8;
  if (major == 0) {
    return WSAVERNOTSUPPORTED;
  }
  if (data == nullptr) {
    return WSAEFAULT;
  }
  const WORD highest = MAKEWORD(2, 2);
  const bool isLower = major < 2 || (major == 2 && minor < 2);
  *data = WSADATA{isLower ? versionRequested : highest, highest};
  host::CountStartup();
  return 0;
}

int WSACleanup() {
  host::SendGathered();
  return host::TakeBackStartup() ? 0 : Refuse(WSANOTINITIALISED);
}

// Differs from Windows:
// - IPv4 streams only. At most 1,024 sockets. The overlapped flag is accepted, overlapped calls are
//   not.
SOCKET WSASocketA(int family, int type, int protocol, WSAPROTOCOL_INFOA* information, GROUP group,
                  DWORD flags) {
  const int refusal = !host::AreSocketsStarted()                 ? WSANOTINITIALISED
                      : family != AF_INET                        ? WSAEAFNOSUPPORT
                      : type != SOCK_STREAM                      ? WSAESOCKTNOSUPPORT
                      : protocol != 0 && protocol != IPPROTO_TCP ? WSAEPROTONOSUPPORT
                      : information != nullptr || group != 0     ? WSAEINVAL
                      : (flags & ~WSA_FLAG_OVERLAPPED) != 0      ? WSAEINVAL
                                                                 : 0;
  if (refusal != 0) {
    WSASetLastError(refusal);
    return INVALID_SOCKET;
  }
  const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) {
    WSASetLastError(host::SocketErrorFromErrno(errno));
    return INVALID_SOCKET;
  }
  // What leaves here is gathered already; the system shall not wait for more.
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  const SOCKET socket = host::AddSocket(descriptor);
  if (socket == INVALID_SOCKET) {
    WSASetLastError(WSAEMFILE);
  }
  return socket;
}

// Differs from Windows:
// - Caller and callee data and qualities of service are refused with 10045.
int WSAConnect(SOCKET socket, const sockaddr* name, int nameLength, LPWSABUF callerData,
               LPWSABUF calleeData, QOS* sendQuality, QOS* groupQuality) {
  Record* record = FindSocket(socket);
  if (record == nullptr) {
    return RefuseUnknown();
  }
  if (callerData != nullptr || calleeData != nullptr || sendQuality != nullptr ||
      groupQuality != nullptr) {
    return Refuse(WSAEOPNOTSUPP);
  }
  if (record->isConnected) {
    return Refuse(WSAEISCONN);
  }
  if (const int error = AddressError(name, nameLength)) {
    return Refuse(error);
  }
  host::SendGathered();
  if (const int error = ConnectTo(record->descriptor, name, sizeof(sockaddr_in))) {
    return Refuse(error);
  }
  record->isConnected = true;
  return 0;
}

// Differs from Windows:
// - One buffer per call; flags are refused with 10045, overlapped calls with 10022.
// - Bytes are gathered (see above): a failure to send them is reported by the next call.
int WSASend(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD sent, DWORD flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completion) {
  Record* record = FindSocket(socket);
  if (record == nullptr) {
    return RefuseUnknown();
  }
  if (buffers == nullptr || sent == nullptr) {
    return Refuse(WSAEFAULT);
  }
  if (bufferCount != 1 || overlapped != nullptr || completion != nullptr || flags != 0) {
    return Refuse(flags != 0 ? WSAEOPNOTSUPP : WSAEINVAL);
  }
  if (const int error = TransferError(*record, record->isSendShut)) {
    return Refuse(error);
  }
  if (t_Gathering != socket) {
    host::SendGathered();
    t_Gathering = socket;
  }
  const std::size_t length = buffers->len;
  if (length > kBufferSize - record->gathered) {
    SendGatheredOf(*record);
  }
  if (length > kBufferSize) {
    SendAll(*record, buffers->buf, length);
  } else if (length == 1) {
    record->gather[record->gathered++] = *buffers->buf;
  } else {
    std::memcpy(record->gather + record->gathered, buffers->buf, length);
    record->gathered += length;
  }
  if (record->error != 0) {
    return Refuse(record->error);
  }
  *sent = buffers->len;
  return 0;
}

// Differs from Windows:
// - One buffer per call; flags are refused with 10045, overlapped calls with 10022.
// - Bytes that were read ahead count as received by the system: a close that leaves them unread
//   does not reset the connection.
int WSARecv(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD received, LPDWORD flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completion) {
  Record* record = FindSocket(socket);
  if (record == nullptr) {
    return RefuseUnknown();
  }
  if (buffers == nullptr || received == nullptr || flags == nullptr) {
    return Refuse(WSAEFAULT);
  }
  if (bufferCount != 1 || overlapped != nullptr || completion != nullptr || *flags != 0) {
    return Refuse(*flags != 0 ? WSAEOPNOTSUPP : WSAEINVAL);
  }
  if (record->readBegin == record->readEnd || record->gathered != 0) {
    if (const int error = ReadAhead(*record)) {
      return Refuse(error);
    }
  }
  const char* next = record->readAhead + record->readBegin;
  const std::size_t length =
      std::min<std::size_t>(buffers->len, record->readEnd - record->readBegin);
  if (length == 1) {
    *buffers->buf = *next;
  } else {
    std::memcpy(buffers->buf, next, length);
  }
  record->readBegin += length;
  *received = static_cast<DWORD>(length);
  return 0;
}

int shutdown(SOCKET socket, int how) {
  Record* record = FindSocket(socket);
  if (record == nullptr) {
    return RefuseUnknown();
  }
  if (how < SD_RECEIVE || how > SD_BOTH) {
    return Refuse(WSAEINVAL);
  }
  if (!record->isConnected) {
    return Refuse(WSAENOTCONN);
  }
  SendGatheredOf(*record);
  if (how != SD_SEND) {
    record->isReceiveShut = true;
    record->readBegin = record->readEnd = 0;
  }
  record->isSendShut = record->isSendShut || how != SD_RECEIVE;
  static_assert(SHUT_RD == SD_RECEIVE && SHUT_WR == SD_SEND && SHUT_RDWR == SD_BOTH);
  if (::shutdown(record->descriptor, how) != 0) {
    return Refuse(host::SocketErrorFromErrno(errno));
  }
  return record->error == 0 ? 0 : Refuse(record->error);
}

int closesocket(SOCKET socket) {
  Record* record = FindSocket(socket);
  if (record == nullptr) {
    return RefuseUnknown();
  }
  SendGatheredOf(*record);
  host::RemoveSocket(record);
  return 0;
}

extern "C" hostent* __real_gethostbyname(const char* name);
extern "C" hostent* __wrap_gethostbyname(const char* name);

// Every gethostbyname of the program comes here (see CMakeLists.txt): on Windows it reports through
// the last error, and a success leaves none.
hostent* __wrap_gethostbyname(const char* name) {
  WSASetLastError(0);
  if (!host::AreSocketsStarted() || name == nullptr) {
    WSASetLastError(name == nullptr ? WSAEFAULT : WSANOTINITIALISED);
    return nullptr;
  }
  hostent* found = __real_gethostbyname(name);
  if (found == nullptr) {
    WSASetLastError(h_errno == HOST_NOT_FOUND ? WSAHOST_NOT_FOUND
                    : h_errno == TRY_AGAIN    ? WSATRY_AGAIN
                    : h_errno == NO_DATA      ? WSANO_DATA
                                              : WSANO_RECOVERY);
  }
  return found;
}
