#pragma once
// Stream sockets over Windows Sockets 2. Every call blocks; there are no time-outs.
//
// A failed operation returns -1 and leaves its Windows Sockets error in the object (GetError) and 0
// in the thread's slot, so a failure stays with the socket it belongs to. Nothing here loops,
// prints or throws. One thread at a time.

#include <cstdint>

#include <winsock2.h>

// 0 when Windows Sockets 2.2 is ready; the start-up error, or -1 when another version was granted.
int32_t InitialiseSockets();

// Called once for each InitialiseSockets.
int32_t CleanupSockets();

// Windows Sockets, started for a scope and released however the scope is left.
class SocketStartup {
 public:
  SocketStartup();
  SocketStartup(const SocketStartup&) = delete;
  SocketStartup& operator=(const SocketStartup&) = delete;
  ~SocketStartup();

 private:
  bool m_Initialised;
};

class Socket {
 public:
  // Holds nothing yet.
  Socket();

  // Creates the socket and connects it; IsConnected tells whether that worked. `host` is a dotted
  // IPv4 address or a host name, `port` in host byte order.
  Socket(const char* host, uint16_t port, int type, int family, int protocol);
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket();

  // Closes a handle already held. True when the new one is open.
  bool Create(int type, int family, int protocol);

  // Disables SYN retries, so that Connect fails at once where nobody listens; Windows otherwise
  // retries for two seconds. Before Connect. No effect on a system without this option.
  void ConnectWithoutRetries();

  // 0 when connected.
  int32_t Connect(const char* host, uint16_t port);

  // One call of the system each: the number of bytes moved, which may be fewer than asked for.
  // Receive gives 0 when the peer has closed the connection.
  int32_t Send(const void* buffer, int32_t length, uint32_t flags);
  int32_t Receive(void* buffer, int32_t capacity, uint32_t flags);

  // Harmless when nothing is open.
  void Close();

  bool IsConnected() const { return m_Connected; }
  uint32_t GetError() const { return m_LastError; }

 private:
  int32_t RecordError();
  int32_t RecordTransferError();

  uint32_t m_LastError = 0;
  bool m_Connected = false;
  bool m_Open = false;  // m_Connected implies m_Open
  SOCKET m_Socket = INVALID_SOCKET;
};
