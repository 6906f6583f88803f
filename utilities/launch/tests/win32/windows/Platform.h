// The system's own sockets on this platform.
#pragma once

#include <winsock2.h>

using PeerLength = int;
constexpr auto ClosePeer = ::closesocket;
