// What the contract tests need of the platform beside the calls they are about.
#pragma once

#include <unistd.h>

using PeerLength = socklen_t;
constexpr auto ClosePeer = ::close;
constexpr int kNoPeer = -1;
