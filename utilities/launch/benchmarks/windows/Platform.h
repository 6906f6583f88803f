// The platform-specific part of the benchmark programs.
#pragma once

#include <winsock2.h>
#include <io.h>

using Size = int;  // the type of a length to send or write
constexpr int kSendFlags = 0;

// Also switches standard output to binary mode.
inline void StartSockets() {
  WSADATA data;
  WSAStartup(MAKEWORD(2, 2), &data);
}
