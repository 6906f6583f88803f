// Windows Sockets in memory, linked in place of the layer's: every connection succeeds.
#pragma once

#include <stddef.h>

#include <string>
#include <string_view>

struct MemoryNetwork {
  std::string_view incoming;  // what the first socket receives before its stream ends
  bool endsInReset = false;   // or else as it does when the peer closes
  size_t sendLimit = 0;       // bytes that the first socket can send before it is reset
  std::string sent;           // what it has sent
  int opened = 0;
  int closed = 0;
};
extern MemoryNetwork g_network;
