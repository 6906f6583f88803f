// What the tests take from this product's system: its own sockets, an attribute of files, the path
// of the program.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <string>

using PeerLength = int;
const auto ClosePeer = ::closesocket;
constexpr DWORD kHidden = FILE_ATTRIBUTE_HIDDEN;

// In the code page's bytes.
inline std::string OwnPath() {
  char path[4096];
  return {path, GetModuleFileNameA(nullptr, path, sizeof path)};
}
