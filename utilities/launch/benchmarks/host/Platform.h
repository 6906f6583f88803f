// What the benchmark programs need of this platform.
#pragma once

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>

using Size = std::size_t;  // of what one call sends or writes
constexpr int kSendFlags = MSG_NOSIGNAL;

inline void StartSockets() {}
