// Platform calls of the contract tests that are not under test.
#pragma once

#include <unistd.h>

using PeerLength = socklen_t;
constexpr auto ClosePeer = ::close;
constexpr int kNoPeer = -1;
