// What the benchmark programs need of this platform.
#pragma once

#include <winsock2.h>

#include <fcntl.h>
#include <io.h>

using Size = int;  // of what one call sends or writes
constexpr int kSendFlags = 0;

// Standard output takes bytes as they are from then on.
inline void StartSockets() {
  WSADATA data;
  WSAStartup(MAKEWORD(2, 2), &data);
  _setmode(1, _O_BINARY);
}
