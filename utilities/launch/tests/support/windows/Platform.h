// What the tests take from this product's system: its own sockets, an attribute of files.
#pragma once

#include <winsock2.h>

using PeerLength = int;
const auto ClosePeer = ::closesocket;
constexpr DWORD kHidden = FILE_ATTRIBUTE_HIDDEN;
