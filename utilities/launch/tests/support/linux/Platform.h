// What the tests take from this product's system: its own sockets, an attribute of files.
#pragma once

#include <windows.h>
#include <unistd.h>

using PeerLength = socklen_t;
constexpr auto ClosePeer = ::close;
constexpr DWORD kHidden = 0;  // there is none
