#include <unistd.h>

#include <cstdlib>

#include "Contract.h"

void ClosePeer(PeerSocket socket) {
  ::close(socket);
}

bool CanPeerReset() {
  return true;
}

void LoadRegistry(const std::string& file) {
  ::setenv("TORVEL_HOST_REGISTRY", file.c_str(), 1);
}
