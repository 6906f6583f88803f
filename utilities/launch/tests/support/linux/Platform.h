// What the tests take from this product's system: its own sockets, an attribute of files, the path
// of the program.
#pragma once

#include <windows.h>
#include <unistd.h>

#include <filesystem>
#include <string>

using PeerLength = socklen_t;
constexpr auto ClosePeer = ::close;
constexpr DWORD kHidden = 0;  // there is none

inline std::string OwnPath() {
  return std::filesystem::read_symlink("/proc/self/exe");
}
