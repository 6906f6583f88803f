// What the contract tests need of the platform beside the calls they are about.
#pragma once

#include <stdlib.h>
#include <winsock2.h>

#include <string>

using PeerLength = int;
constexpr auto ClosePeer = ::closesocket;
constexpr SOCKET kNoPeer = INVALID_SOCKET;

inline void LoadRegistry(const char* file) {
  system((std::string("reg import ") + file + " > nul 2>&1").c_str());
}
