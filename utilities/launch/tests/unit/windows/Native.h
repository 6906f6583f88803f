// What the tests themselves need of the system, by Windows' names.
#pragma once

#include <stdlib.h>
#include <winsock2.h>

using NativeLength = int;
constexpr auto CloseNative = closesocket;
constexpr int kEndOfSending = SD_SEND;
constexpr SOCKET kNoSocket = INVALID_SOCKET;
constexpr bool kReceiveTellsReset = false;  // under Wine it may see the end of the stream instead

inline void SetVariable(const char* name, const char* value) {
  _putenv_s(name, value);
}
