#include <netinet/tcp.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>

#include "Handles.h"
#include "LastError.h"
#include "mstcpip.h"

// The callers send and receive a byte at a time, where a system call each would cost a hundred
// times the rest. So a receive takes what the system has, up to a buffer full, and serves from
// there; a send gathers. Nothing can tell the difference: gathered bytes leave before the thread's
// next call that can block (receive, connect, wait, sleep, write), before a send on another socket,
// at shutdown and close, and when the buffer is full. A failed send then fails the socket's next
// call, for good.

namespace {

constexpr std::size_t kBufferSize = 32768;

// What a SOCKET is the address of. Only what the next bytes need is asked for each of them: there
// is room only while this socket gathers, and nothing to serve while it does.
struct Record {
  explicit Record(host::Descriptor own) : descriptor(std::move(own)) {}

  host::Descriptor descriptor;
  char* room = nullptr;
  char* roomEnd = nullptr;
  const char* served = nullptr;
  const char* servedEnd = nullptr;
  const char* readEnd = nullptr;     // of what was read ahead
  int error = WSAENOTCONN;           // why nothing can be sent or received, 0 when it can
  std::unique_ptr<char[]> gathered;  // made with the first byte, like the next
  std::unique_ptr<char[]> readAhead;
};

// The socket on which this thread has gathered bytes, if any: one at a time, so that bytes leave in
// the order of the sends even across sockets.
thread_local Record* t_Gathering = nullptr;

std::atomic<int> g_Startups{0};

Record& RecordOf(SOCKET socket) {
  return *reinterpret_cast<Record*>(socket);
}

int Refuse(int code) {
  return host::Fail(static_cast<DWORD>(code), SOCKET_ERROR);
}

// What the launcher tells apart, and the likely; anything else is a dead network.
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

// For good; what was read ahead counts no more. Returns the code.
int End(Record& record, int code) {
  record.served = record.servedEnd = record.readEnd;
  return record.error = code;
}

void SendAll(Record& record, const char* data, const char* end) {
  while (data != end) {
    const ssize_t sent =
        ::send(record.descriptor.Get(), data, static_cast<std::size_t>(end - data), MSG_NOSIGNAL);
    if (sent < 0 && errno != EINTR) {
      End(record, SocketError(errno));
      return;
    }
    data += sent > 0 ? sent : 0;
  }
}

// Not inline, like ReadAhead: what the rare paths need, every byte would pay for.
[[gnu::noinline]] int SendOtherwise(Record& record, const WSABUF& buffer, DWORD bufferCount,
                                    DWORD flags) {
  if (bufferCount != 1 || flags != 0) {
    return Refuse(flags != 0 ? WSAEOPNOTSUPP : WSAEINVAL);
  }
  host::SendGathered();
  if (record.error == 0 && buffer.len >= kBufferSize) {
    SendAll(record, buffer.buf, buffer.buf + buffer.len);
  } else if (record.error == 0) {
    if (record.gathered == nullptr) {
      record.gathered.reset(new char[kBufferSize]);
    }
    t_Gathering = &record;
    std::memcpy(record.gathered.get(), buffer.buf, buffer.len);
    record.room = record.gathered.get() + buffer.len;
    record.roomEnd = record.gathered.get() + kBufferSize;
    record.servedEnd = record.served;
  }
  return record.error == 0 ? 0 : Refuse(record.error);
}

// Makes sure that there is something to serve, unless the stream has ended.
[[gnu::noinline]] int ReadAhead(Record& record) {
  host::SendGathered();
  if (record.error != 0 || record.served != record.servedEnd) {
    return record.error;
  }
  if (record.readAhead == nullptr) {
    record.readAhead.reset(new char[kBufferSize]);
  }
  ssize_t length = 0;
  do {
    length = ::recv(record.descriptor.Get(), record.readAhead.get(), kBufferSize, 0);
  } while (length < 0 && errno == EINTR);
  if (length < 0) {
    return End(record, SocketError(errno));
  }
  record.served = record.readAhead.get();
  record.servedEnd = record.readEnd = record.served + length;
  return 0;
}

// While nobody listens on a port of the range that the system takes own ports from, it may connect
// a socket to itself.
bool IsConnectedToItself(int descriptor) {
  sockaddr_in own{}, peer{};
  socklen_t length = sizeof own;
  return ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&own), &length) == 0 &&
         ::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
         std::memcmp(&own, &peer, sizeof own) == 0;
}

}  // namespace

namespace host {

void SendGathered() {
  Record* record = t_Gathering;
  if (record == nullptr) {
    return;
  }
  t_Gathering = nullptr;
  const char* end = record->room;
  record->room = record->roomEnd = nullptr;
  record->servedEnd = record->readEnd;
  SendAll(*record, record->gathered.get(), end);
}

}  // namespace host

int WSAStartup(WORD versionRequested, WSADATA* data) {
  data->wVersion = versionRequested;
  ++g_Startups;
  return 0;
}

// Differs from Windows:
// - Sockets that are open stay so.
int WSACleanup() {
  host::SendGathered();
  return g_Startups == 0 ? Refuse(WSANOTINITIALISED) : (--g_Startups, 0);
}

// Differs from Windows:
// - IPv4 streams only, for the thread that makes the socket. Groups and flags have no effect.
SOCKET WSASocketA(int family, int type, int protocol, LPWSAPROTOCOL_INFOA, unsigned /*group*/,
                  DWORD /*flags*/) {
  const int refusal = g_Startups == 0       ? WSANOTINITIALISED
                      : family != AF_INET   ? WSAEAFNOSUPPORT
                      : type != SOCK_STREAM ? WSAESOCKTNOSUPPORT
                                            : 0;
  host::Descriptor descriptor(refusal == 0 ? ::socket(family, type | SOCK_CLOEXEC, protocol) : -1);
  if (!descriptor) {
    Refuse(refusal != 0 ? refusal : SocketError(errno));
    return INVALID_SOCKET;
  }
  // What leaves here is gathered already; the system shall not wait for more.
  const int on = 1;
  ::setsockopt(descriptor.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return reinterpret_cast<SOCKET>(new Record(std::move(descriptor)));
}

// Differs from Windows:
// - Every request is refused with 10045.
int WSAIoctl(SOCKET, DWORD, LPVOID, DWORD, std::nullptr_t, DWORD, LPDWORD, LPWSAOVERLAPPED,
             LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  return Refuse(WSAEOPNOTSUPP);
}

int WSAConnect(SOCKET socket, const sockaddr* name, int nameLength, std::nullptr_t, std::nullptr_t,
               LPQOS, LPQOS) {
  host::SendGathered();
  Record& record = RecordOf(socket);
  if (::connect(record.descriptor.Get(), name, static_cast<socklen_t>(nameLength)) != 0) {
    return Refuse(SocketError(errno));
  }
  if (IsConnectedToItself(record.descriptor.Get())) {
    const sockaddr none{AF_UNSPEC, {}};  // which takes the connection back
    (void)::connect(record.descriptor.Get(), &none, sizeof none);
    return Refuse(WSAECONNREFUSED);
  }
  record.error = 0;
  return 0;
}

// Differs from Windows:
// - One buffer per call, else 10022; flags are refused with 10045.
// - Bytes are gathered (see above): a failure to send them is reported by the next call.
int WSASend(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD sent, DWORD flags,
            LPWSAOVERLAPPED, LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  Record& record = RecordOf(socket);
  const std::size_t length = buffers->len;
  *sent = buffers->len;
  if (bufferCount != 1 || flags != 0 ||
      length >= static_cast<std::size_t>(record.roomEnd - record.room)) {
    return SendOtherwise(record, *buffers, bufferCount, flags);
  }
  if (length == 1) {
    *record.room = *buffers->buf;
  } else {
    std::memcpy(record.room, buffers->buf, length);
  }
  record.room += length;
  return 0;
}

// Differs from Windows:
// - One buffer per call, else 10022; flags are refused with 10045.
// - Bytes that were read ahead count as received by the system: a close that leaves them unread
//   does not reset the connection.
int WSARecv(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD received, LPDWORD flags,
            LPWSAOVERLAPPED, LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  Record& record = RecordOf(socket);
  if (bufferCount != 1 || *flags != 0) {
    return Refuse(*flags != 0 ? WSAEOPNOTSUPP : WSAEINVAL);
  }
  if (record.served == record.servedEnd) {
    if (const int error = ReadAhead(record)) {
      return Refuse(error);
    }
  }
  const std::size_t length = std::min<std::size_t>(
      buffers->len, static_cast<std::size_t>(record.servedEnd - record.served));
  if (length == 1) {
    *buffers->buf = *record.served;
  } else {
    std::memcpy(buffers->buf, record.served, length);
  }
  record.served += length;
  *received = static_cast<DWORD>(length);
  return 0;
}

int shutdown(SOCKET socket, SD_HOW) {
  host::SendGathered();
  Record& record = RecordOf(socket);
  if (::shutdown(record.descriptor.Get(), SHUT_RDWR) != 0) {
    return Refuse(SocketError(errno));
  }
  End(record, WSAESHUTDOWN);
  return 0;
}

int closesocket(SOCKET socket) {
  host::SendGathered();
  delete &RecordOf(socket);
  return 0;
}

extern "C" hostent* __real_gethostbyname(const char* name);
extern "C" hostent* __wrap_gethostbyname(const char* name);

// Every gethostbyname of the program comes here (see CMakeLists.txt): on Windows it reports through
// the last error, and a success leaves none. Whatever keeps a name from being found is 11001 here.
hostent* __wrap_gethostbyname(const char* name) {
  host::SendGathered();
  hostent* found = __real_gethostbyname(name);
  WSASetLastError(found != nullptr ? 0 : WSAHOST_NOT_FOUND);
  return found;
}
