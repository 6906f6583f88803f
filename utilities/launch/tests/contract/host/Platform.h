// What the contract tests need of the platform beside the calls they are about.
#pragma once

#include <stdlib.h>
#include <unistd.h>

using PeerLength = socklen_t;
constexpr auto ClosePeer = ::close;
constexpr int kNoPeer = -1;

inline void LoadRegistry(const char* file) {
  setenv("TORVEL_HOST_REGISTRY", file, 1);
}
