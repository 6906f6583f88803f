#pragma once
// The part of Windows Sockets 2 that the launcher calls: blocking IPv4 streams. Only the thread
// that created a socket may use it, and not after closesocket. Address structures, inet_addr, htons
// and gethostbyname are declared by the system's headers; shutdown and setsockopt are overloaded
// for SOCKET.

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "windows.h"

using SOCKET = std::uintptr_t;

constexpr SOCKET INVALID_SOCKET = ~SOCKET{0};
constexpr int SOCKET_ERROR = -1;
enum SD_HOW { SD_BOTH = 2 };
constexpr DWORD WSA_FLAG_OVERLAPPED = 1;

constexpr int WSAEINVAL = 10022;
constexpr int WSAESOCKTNOSUPPORT = 10044;
constexpr int WSAEOPNOTSUPP = 10045;
constexpr int WSAEAFNOSUPPORT = 10047;
constexpr int WSAENETDOWN = 10050;
constexpr int WSAECONNRESET = 10054;
constexpr int WSAEISCONN = 10056;
constexpr int WSAENOTCONN = 10057;
constexpr int WSAESHUTDOWN = 10058;
constexpr int WSAECONNREFUSED = 10061;
constexpr int WSANOTINITIALISED = 10093;
constexpr int WSAHOST_NOT_FOUND = 11001;

struct WSADATA {
  WORD wVersion;
};

struct WSABUF {
  DWORD len;
  char* buf;
};
using LPWSABUF = WSABUF*;

using LPWSAPROTOCOL_INFOA = std::nullptr_t;
using LPQOS = std::nullptr_t;
using LPWSAOVERLAPPED = std::nullptr_t;
using LPWSAOVERLAPPED_COMPLETION_ROUTINE = std::nullptr_t;

constexpr WORD MAKEWORD(int low, int high) {
  return static_cast<WORD>((low & 0xFF) | (high & 0xFF) << 8);
}

// WSAStartup returns its error code; the others return SOCKET_ERROR (INVALID_SOCKET) and set the
// last error.
int WINAPI WSAStartup(WORD versionRequested, WSADATA* data);
int WINAPI WSACleanup();
SOCKET WINAPI WSASocketA(int family, int type, int protocol, LPWSAPROTOCOL_INFOA information,
                         unsigned group, DWORD flags);
int WINAPI setsockopt(SOCKET socket, int level, int name, const void* value, int length);
int WINAPI WSAIoctl(SOCKET socket, DWORD code, LPVOID input, DWORD inputSize, std::nullptr_t output,
                    DWORD outputSize, LPDWORD returned, LPWSAOVERLAPPED overlapped,
                    LPWSAOVERLAPPED_COMPLETION_ROUTINE completion);
int WINAPI WSAConnect(SOCKET socket, const sockaddr* name, int nameLength,
                      std::nullptr_t callerData, std::nullptr_t calleeData, LPQOS sendQuality,
                      LPQOS groupQuality);
int WINAPI WSASend(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD sent, DWORD flags,
                   LPWSAOVERLAPPED overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completion);
int WINAPI WSARecv(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD received,
                   LPDWORD flags, LPWSAOVERLAPPED overlapped,
                   LPWSAOVERLAPPED_COMPLETION_ROUTINE completion);
int WINAPI shutdown(SOCKET socket, SD_HOW how);
int WINAPI closesocket(SOCKET socket);

// The same value as GetLastError.
inline int WSAGetLastError() {
  return static_cast<int>(GetLastError());
}
inline void WSASetLastError(int code) {
  SetLastError(static_cast<DWORD>(code));
}
