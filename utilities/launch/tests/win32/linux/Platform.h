// The system's own sockets on this platform.
#pragma once

#include <unistd.h>

using PeerLength = socklen_t;
constexpr auto ClosePeer = ::close;
