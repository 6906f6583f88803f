#include "platform/Socket.h"

#include <windows.h>
#include <mstcpip.h>

#include <cstring>

namespace {

// Windows 10 version 1709 introduced the value for no retries. Earlier systems could take it for a
// number of retries.
bool HasInitialRtoOption() {
  constexpr DWORD kMajorVersion = 10;
  constexpr DWORD kBuild = 16299;
  OSVERSIONINFOA system = {};
  system.dwOSVersionInfoSize = sizeof system;
  return GetVersionExA(&system) &&
         (system.dwMajorVersion > kMajorVersion ||
          (system.dwMajorVersion == kMajorVersion && system.dwBuildNumber >= kBuild));
}

// For calls whose failure does not matter: clears the thread's last error.
void IgnoreFailure(int result) {
  if (result != 0) {
    WSASetLastError(0);
  }
}

}  // namespace

int32_t InitialiseSockets() {
  WSADATA data = {};
  const int error = WSAStartup(MAKEWORD(2, 2), &data);
  if (error != 0) {
    return error;
  }
  if (data.wVersion != MAKEWORD(2, 2)) {
    WSACleanup();
    return -1;
  }
  return 0;
}

int32_t CleanupSockets() {
  return WSACleanup();
}

SocketStartup::SocketStartup() : m_Initialised(false) {
  // A failed start shows when the socket is created; the unmatched clean-up is harmless.
  InitialiseSockets();
  m_Initialised = true;
}

SocketStartup::~SocketStartup() {
  if (m_Initialised) {
    CleanupSockets();
  }
}

Socket::Socket(const char* host, uint16_t port, int type, int family, int protocol) {
  if (Create(type, family, protocol)) {
    Connect(host, port);
  }
}

Socket::Socket() = default;

Socket::~Socket() {
  Close();
}

bool Socket::Create(int type, int family, int protocol) {
  Close();
  // Only an attribute of the handle: all calls block.
  m_Socket = WSASocketA(family, type, protocol, nullptr, 0, WSA_FLAG_OVERLAPPED);
  if (m_Socket == INVALID_SOCKET) {
    RecordError();
    return false;
  }
  m_Open = true;
  // Callers send whole buffers, which Nagle's algorithm would only delay.
  const BOOL isOn = TRUE;
  IgnoreFailure(setsockopt(m_Socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&isOn),
                           sizeof isOn));
  return true;
}

void Socket::ConnectWithoutRetries() {
  if (!HasInitialRtoOption()) {
    return;
  }
  TCP_INITIAL_RTO_PARAMETERS parameters = {};
  parameters.MaxSynRetransmissions = TCP_INITIAL_RTO_NO_SYN_RETRANSMISSIONS;
  DWORD returned = 0;
  IgnoreFailure(WSAIoctl(m_Socket, SIO_TCP_INITIAL_RTO, &parameters, sizeof parameters, nullptr, 0,
                         &returned, nullptr, nullptr));
}

int32_t Socket::Connect(const char* host, uint16_t port) {
  m_LastError = 0;
  if (!m_Open) {
    return -1;
  }
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr(host);
  if (address.sin_addr.s_addr == INADDR_NONE) {
    const hostent* resolved = gethostbyname(host);
    if (resolved == nullptr || WSAGetLastError() != 0) {
      return RecordError();
    }
    memcpy(&address.sin_addr, resolved->h_addr_list[0], sizeof address.sin_addr);
  }
  if (WSAConnect(m_Socket, reinterpret_cast<const sockaddr*>(&address), sizeof address, nullptr,
                 nullptr, nullptr, nullptr) != 0) {
    return RecordError();
  }
  m_Connected = true;
  return 0;
}

int32_t Socket::Send(const void* buffer, int32_t length, uint32_t flags) {
  m_LastError = 0;
  if (!m_Open) {
    return -1;
  }
  // WSASend does not write to the buffer, though WSABUF is not const.
  WSABUF descriptor = {};
  descriptor.len = static_cast<decltype(descriptor.len)>(length);
  descriptor.buf = static_cast<char*>(const_cast<void*>(buffer));
  DWORD sent = 0;
  if (WSASend(m_Socket, &descriptor, 1, &sent, flags, nullptr, nullptr) != 0) {
    return RecordTransferError();
  }
  return static_cast<int32_t>(sent);
}

int32_t Socket::Receive(void* buffer, int32_t capacity, uint32_t flags) {
  m_LastError = 0;
  if (!m_Open) {
    return -1;
  }
  WSABUF descriptor = {};
  descriptor.len = static_cast<decltype(descriptor.len)>(capacity);
  descriptor.buf = static_cast<char*>(buffer);
  DWORD received = 0;
  DWORD receiveFlags = flags;
  if (WSARecv(m_Socket, &descriptor, 1, &received, &receiveFlags, nullptr, nullptr) != 0) {
    return RecordTransferError();
  }
  if (received == 0) {
    m_Connected = false;
  }
  return static_cast<int32_t>(received);
}

void Socket::Close() {
  if (m_Open) {
    IgnoreFailure(shutdown(m_Socket, SD_BOTH));  // fails if never connected
    IgnoreFailure(closesocket(m_Socket));
  }
  m_LastError = 0;
  m_Connected = false;
  m_Open = false;
}

int32_t Socket::RecordError() {
  m_LastError = static_cast<uint32_t>(WSAGetLastError());
  WSASetLastError(0);
  return -1;
}

int32_t Socket::RecordTransferError() {
  RecordError();
  if (m_LastError == WSAECONNRESET || m_LastError == WSAENOTCONN) {
    m_Connected = false;
  }
  return -1;
}
