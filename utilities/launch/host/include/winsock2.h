#pragma once
// The part of Windows Sockets 2 that the launcher calls: blocking IPv4 streams. A socket is used by
// one thread at a time. Address structures, inet_addr, htons and gethostbyname's declaration are
// the host's own; shutdown is overloaded for SOCKET.

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "windows.h"

using SOCKET = std::uintptr_t;
using GROUP = unsigned int;

constexpr SOCKET INVALID_SOCKET = ~SOCKET{0};
constexpr int SOCKET_ERROR = -1;
constexpr int SD_RECEIVE = 0;
constexpr int SD_SEND = 1;
constexpr int SD_BOTH = 2;
constexpr DWORD WSA_FLAG_OVERLAPPED = 1;

constexpr int WSAEINTR = 10004;
constexpr int WSAEACCES = 10013;
constexpr int WSAEFAULT = 10014;
constexpr int WSAEINVAL = 10022;
constexpr int WSAEMFILE = 10024;
constexpr int WSAENOTSOCK = 10038;
constexpr int WSAEPROTONOSUPPORT = 10043;
constexpr int WSAESOCKTNOSUPPORT = 10044;
constexpr int WSAEOPNOTSUPP = 10045;
constexpr int WSAEAFNOSUPPORT = 10047;
constexpr int WSAEADDRNOTAVAIL = 10049;
constexpr int WSAENETDOWN = 10050;
constexpr int WSAENETUNREACH = 10051;
constexpr int WSAECONNABORTED = 10053;
constexpr int WSAECONNRESET = 10054;
constexpr int WSAENOBUFS = 10055;
constexpr int WSAEISCONN = 10056;
constexpr int WSAENOTCONN = 10057;
constexpr int WSAESHUTDOWN = 10058;
constexpr int WSAETIMEDOUT = 10060;
constexpr int WSAECONNREFUSED = 10061;
constexpr int WSAEHOSTUNREACH = 10065;
constexpr int WSAVERNOTSUPPORTED = 10092;
constexpr int WSANOTINITIALISED = 10093;
constexpr int WSAHOST_NOT_FOUND = 11001;
constexpr int WSATRY_AGAIN = 11002;
constexpr int WSANO_RECOVERY = 11003;
constexpr int WSANO_DATA = 11004;

struct WSADATA {
  WORD wVersion;
  WORD wHighVersion;
};

struct WSABUF {
  DWORD len;
  CHAR* buf;
};
using LPWSABUF = WSABUF*;

struct WSAPROTOCOL_INFOA;
struct WSAOVERLAPPED;
struct QOS;
using LPWSAOVERLAPPED_COMPLETION_ROUTINE = void(WINAPI*)(DWORD, DWORD, WSAOVERLAPPED*, DWORD);

constexpr WORD MAKEWORD(int low, int high) {
  return static_cast<WORD>((low & 0xFF) | (high & 0xFF) << 8);
}

// WSAStartup returns its error code; the others return SOCKET_ERROR (INVALID_SOCKET) and set the
// last error.
int WINAPI WSAStartup(WORD versionRequested, WSADATA* data);
int WINAPI WSACleanup();
SOCKET WINAPI WSASocketA(int family, int type, int protocol, WSAPROTOCOL_INFOA* information,
                         GROUP group, DWORD flags);
int WINAPI WSAConnect(SOCKET socket, const sockaddr* name, int nameLength, LPWSABUF callerData,
                      LPWSABUF calleeData, QOS* sendQuality, QOS* groupQuality);
int WINAPI WSASend(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD sent, DWORD flags,
                   WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completion);
int WINAPI WSARecv(SOCKET socket, LPWSABUF buffers, DWORD bufferCount, LPDWORD received,
                   LPDWORD flags, WSAOVERLAPPED* overlapped,
                   LPWSAOVERLAPPED_COMPLETION_ROUTINE completion);
int WINAPI shutdown(SOCKET socket, int how);
int WINAPI closesocket(SOCKET socket);

// The same slot as GetLastError and SetLastError.
int WINAPI WSAGetLastError();
void WINAPI WSASetLastError(int code);

int WINAPI WSAIoctl(SOCKET socket, DWORD code, void* in, DWORD inSize, void* out, DWORD outSize,
                    DWORD* returned, void* overlapped, void* completion);
