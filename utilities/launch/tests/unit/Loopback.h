// The far end of a TCP connection within this machine, by the system's own calls. Blocking, one
// thread; Windows Sockets must run.
#pragma once

#include <stdint.h>

#include "Native.h"
#include "Support.h"

class FarEnd {
 public:
  // Listens on a port that the system chooses.
  FarEnd() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr* name = reinterpret_cast<sockaddr*>(&address);
    NativeLength length = sizeof address;
    EXPECT_EQ(bind(m_Listener, name, length), 0);
    EXPECT_EQ(listen(m_Listener, 5), 0);
    EXPECT_EQ(getsockname(m_Listener, name, &length), 0);
    m_Port = ntohs(address.sin_port);
  }
  ~FarEnd() {
    CloseNative(m_Listener);
    CloseNative(m_Connection);
  }
  uint16_t GetPort() const { return m_Port; }
  void Accept() { m_Connection = accept(m_Listener, nullptr, nullptr); }

  // Sends, then ends its own half of the stream.
  void SendLast(const string& bytes) {
    const auto size = static_cast<NativeLength>(bytes.size());
    EXPECT_EQ(static_cast<NativeLength>(send(m_Connection, bytes.data(), size, 0)), size);
    shutdown(m_Connection, kEndOfSending);
  }
  string ReceiveAll() {
    string all;
    for (char octet = 0; recv(m_Connection, &octet, 1, 0) == 1;) {
      all += octet;
    }
    return all;
  }
  // The connection breaks, and nothing answers at the port any more.
  void Reset() {
    linger none = {};
    none.l_onoff = 1;
    setsockopt(m_Connection, SOL_SOCKET, SO_LINGER, reinterpret_cast<char*>(&none), sizeof none);
    CloseNative(m_Connection);
    CloseNative(m_Listener);
    m_Connection = m_Listener = kNoSocket;
  }

 private:
  decltype(socket(0, 0, 0)) m_Listener = socket(AF_INET, SOCK_STREAM, 0), m_Connection = kNoSocket;
  uint16_t m_Port = 0;
};
