#pragma once
// Sockets of the launcher, and the far side of their connections.

#include <memory>

#include "Peer.h"
#include "platform/Socket.h"

class Connections : public testing::Test {
 protected:
  std::unique_ptr<Socket> Join() {
    auto socket = std::make_unique<Socket>("127.0.0.1", m_Peer.GetPort(), SOCK_STREAM, AF_INET, 0);
    m_Peer.Accept();
    return socket;
  }

  const SocketStartup m_Startup;
  Peer m_Peer;
};
