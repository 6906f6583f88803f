#pragma once
// Stream sockets over Windows Sockets 2. Calls block without time-outs.
//
// A failed operation returns -1, stores its Windows Sockets error in the object (GetError) and
// clears the thread's last error. Nothing here retries, prints or throws. One thread at a time.

#include <winsock2.h>

#include <cstdint>

// 0 if Windows Sockets 2.2 is ready, else the start-up error, or -1 if another version was granted.
int32_t InitialiseSockets();

// Call once per InitialiseSockets.
int32_t CleanupSockets();

// Starts Windows Sockets for a scope.
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
  // Not open.
  Socket();

  // Creates and connects the socket; check IsConnected. `host` is a dotted IPv4 address
  // or a host name, `port` in host byte order.
  Socket(const char* host, uint16_t port, int type, int family, int protocol);
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket();

  // Closes an open socket first. True if the new one is open.
  bool Create(int type, int family, int protocol);

  // Call before Connect. Disables SYN retries, so that Connect fails at once if nothing listens;
  // Windows otherwise retries for two seconds. No effect on a system without this option.
  void ConnectWithoutRetries();

  // 0 when connected.
  int32_t Connect(const char* host, uint16_t port);

  // One system call each. Return the number of bytes moved, which may be fewer than requested.
  // Receive returns 0 if the peer has closed the connection.
  int32_t Send(const void* buffer, int32_t length, uint32_t flags);
  int32_t Receive(void* buffer, int32_t capacity, uint32_t flags);

  // No effect if not open.
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
