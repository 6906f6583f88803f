#include "MemorySockets.h"

#include <algorithm>

#include <winsock2.h>

#include "Check.h"
#include "host/Sockets.h"

MemoryNetwork g_network;

namespace {

constexpr SOCKET kFirst = 1;

int Reset() {
  WSASetLastError(WSAECONNRESET);
  return SOCKET_ERROR;
}

}  // namespace

void host::SendGathered() {}

int WSAStartup(WORD, WSADATA* data) {
  *data = {MAKEWORD(2, 2), MAKEWORD(2, 2)};
  return 0;
}
int WSACleanup() {
  return 0;
}
SOCKET WSASocketA(int, int, int, WSAPROTOCOL_INFOA*, GROUP, DWORD) {
  return kFirst + static_cast<SOCKET>(g_network.opened++);
}
int WSAConnect(SOCKET, const sockaddr*, int, LPWSABUF, LPWSABUF, QOS*, QOS*) {
  return 0;
}
int WSASend(SOCKET socket, LPWSABUF buffers, DWORD, LPDWORD sent, DWORD, WSAOVERLAPPED*,
            LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  CHECK(socket == kFirst);
  if (g_network.sent.size() + buffers->len > g_network.sendLimit) {
    return Reset();
  }
  g_network.sent.append(buffers->buf, buffers->len);
  *sent = buffers->len;
  return 0;
}
int WSARecv(SOCKET socket, LPWSABUF buffers, DWORD, LPDWORD received, LPDWORD, WSAOVERLAPPED*,
            LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  CHECK(socket == kFirst);
  if (g_network.incoming.empty() && g_network.endsInReset) {
    return Reset();
  }
  *received = static_cast<DWORD>(g_network.incoming.copy(buffers->buf, buffers->len));
  g_network.incoming.remove_prefix(*received);
  return 0;
}
int shutdown(SOCKET, int) {
  return 0;
}
int closesocket(SOCKET) {
  ++g_network.closed;
  return 0;
}
extern "C" hostent* __wrap_gethostbyname(const char*) {
  return nullptr;
}
