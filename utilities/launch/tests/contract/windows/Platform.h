// Platform calls of the contract tests that are not under test.
#pragma once

#include <winsock2.h>

using PeerLength = int;
constexpr auto ClosePeer = ::closesocket;
constexpr SOCKET kNoPeer = INVALID_SOCKET;
