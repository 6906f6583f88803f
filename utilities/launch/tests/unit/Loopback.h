// The far end of a TCP connection within this machine, on a port that the system chose, by the
// system's own calls. Blocking, one thread; Windows Sockets must run.
#pragma once

#include <stdint.h>

#include "Native.h"
#include "Support.h"

class NativeSocket {
 public:
  explicit NativeSocket(decltype(socket(0, 0, 0)) handle) : m_Handle(handle) {}
  NativeSocket(const NativeSocket&) = delete;
  NativeSocket& operator=(const NativeSocket&) = delete;
  ~NativeSocket() { Close(); }

  void Close() {
    if (m_Open) {
      CloseNative(m_Handle);
    }
    m_Open = false;
  }

 protected:
  const decltype(socket(0, 0, 0)) m_Handle;

 private:
  bool m_Open = true;
};

class Listener : public NativeSocket {
 public:
  Listener() : NativeSocket(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr* name = reinterpret_cast<sockaddr*>(&address);
    NativeLength length = sizeof address;
    EXPECT_EQ(bind(m_Handle, name, length), 0);
    EXPECT_EQ(listen(m_Handle, 5), 0);
    EXPECT_EQ(getsockname(m_Handle, name, &length), 0);
    m_Port = ntohs(address.sin_port);
  }
  uint16_t GetPort() const { return m_Port; }
  auto Accept() { return accept(m_Handle, nullptr, nullptr); }

 private:
  uint16_t m_Port = 0;
};

class Peer : public NativeSocket {
 public:
  explicit Peer(Listener& listener) : NativeSocket(listener.Accept()) {}

  // Sends, then ends its own half of the stream.
  void SendLast(const string& bytes) {
    const auto size = static_cast<NativeLength>(bytes.size());
    EXPECT_EQ(static_cast<NativeLength>(send(m_Handle, bytes.data(), size, 0)), size);
    shutdown(m_Handle, kEndOfSending);
  }
  void Reset() {
    linger none = {};
    none.l_onoff = 1;
    setsockopt(m_Handle, SOL_SOCKET, SO_LINGER, reinterpret_cast<char*>(&none), sizeof none);
    Close();
  }
  string ReceiveAll() {
    string all;
    for (char octet = 0; recv(m_Handle, &octet, 1, 0) == 1;) {
      all += octet;
    }
    return all;
  }
};
