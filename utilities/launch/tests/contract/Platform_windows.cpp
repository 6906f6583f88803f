#include <cstdlib>

#include "Contract.h"

void ClosePeer(PeerSocket socket) {
  closesocket(socket);
}

bool CanPeerReset() {
  return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") == nullptr;
}

void LoadRegistry(const std::string& file) {
  const std::string command = "reg import " + file + " > nul 2>&1";
  if (std::system(command.c_str()) != 0) {
    std::abort();
  }
}
