// What the tests themselves need of the system, by the host's names.
#pragma once

#include <arpa/inet.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

using NativeLength = socklen_t;
constexpr auto CloseNative = close;
constexpr int kEndOfSending = SHUT_WR;
constexpr int kNoSocket = -1;
constexpr bool kReceiveTellsReset = true;

inline void SetVariable(const char* name, const char* value) {
  setenv(name, value, 1);
}
