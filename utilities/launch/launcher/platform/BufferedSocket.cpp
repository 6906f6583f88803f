#include "platform/BufferedSocket.h"

#include <utility>

BufferedSocket::BufferedSocket(std::unique_ptr<Socket> socket) : m_Socket(std::move(socket)) {}

BufferedSocket::~BufferedSocket() {
  Flush();
}

bool BufferedSocket::Flush() {
  if (m_HasFailed || m_Gathered == nullptr) {
    return !m_HasFailed;
  }
  const int32_t gathered = kBufferSize - m_Room;
  m_Room = kBufferSize;
  return SendAll(m_Gathered.get(), gathered);
}

int32_t BufferedSocket::SendBeyondRoom(const void* bytes, int32_t length) {
  if (!Flush()) {
    return -1;
  }
  if (length >= kBufferSize) {
    return SendAll(static_cast<const char*>(bytes), length) ? length : -1;
  }
  if (m_Gathered == nullptr) {
    m_Gathered.reset(new char[kBufferSize]);
    m_Room = kBufferSize;
  }
  return Send(bytes, length);
}

int32_t BufferedSocket::ReadAhead() {
  if (!Flush()) {
    return -1;
  }
  if (m_ReadAhead == nullptr) {
    m_ReadAhead.reset(new char[kBufferSize]);
  }
  const int32_t received = m_Socket->Receive(m_ReadAhead.get(), kBufferSize, 0);
  m_Next = 0;
  m_End = std::max(received, 0);
  return received;
}

bool BufferedSocket::SendAll(const char* bytes, int32_t length) {
  while (length > 0) {
    const int32_t sent = m_Socket->Send(bytes, length, 0);
    if (sent <= 0) {
      m_HasFailed = true;
      m_Room = m_Next = m_End = 0;
      return false;
    }
    bytes += sent;
    length -= sent;
  }
  return true;
}
