// What the contract tests need of the platform beside the calls they are about.
#pragma once

#include <winsock2.h>

using PeerLength = int;
constexpr auto ClosePeer = ::closesocket;
constexpr SOCKET kNoPeer = INVALID_SOCKET;
