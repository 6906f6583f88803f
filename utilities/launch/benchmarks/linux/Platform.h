// The platform-specific part of the benchmark programs.
#pragma once

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>

using Size = std::size_t;  // the type of a length to send or write
constexpr int kSendFlags = MSG_NOSIGNAL;

inline void StartPlatform() {}
