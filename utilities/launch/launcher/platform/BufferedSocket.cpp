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
  const char* end = m_Free;
  m_Free = m_Gathered.get();
  return SendAll(m_Gathered.get(), end);
}

int32_t BufferedSocket::SendBeyondFree(const void* bytes, int32_t length) {
  if (!Flush()) {
    return -1;
  }
  if (length >= kGatheredSize) {
    const char* begin = static_cast<const char*>(bytes);
    return SendAll(begin, begin + length) ? length : -1;
  }
  if (m_Gathered == nullptr) {
    m_Gathered.reset(new char[kGatheredSize]);
    m_Free = m_Gathered.get();
    m_FreeEnd = m_Free + kGatheredSize;
  }
  return Send(bytes, length);
}

int32_t BufferedSocket::ReadAhead() {
  if (!Flush()) {
    return -1;
  }
  if (m_ReadAhead == nullptr) {
    m_ReadAhead.reset(new char[kReadAheadSize]);
  }
  const int32_t received = m_Socket->Receive(m_ReadAhead.get(), kReadAheadSize, 0);
  if (received < 0) {
    Fail();
    return received;
  }
  m_Unread = m_ReadAhead.get();
  m_UnreadEnd = m_Unread + received;
  return received;
}

bool BufferedSocket::SendAll(const char* bytes, const char* end) {
  while (bytes != end) {
    const int32_t sent = m_Socket->Send(bytes, static_cast<int32_t>(end - bytes), 0);
    if (sent <= 0) {
      Fail();
      return false;
    }
    bytes += sent;
  }
  return true;
}

void BufferedSocket::Fail() {
  m_HasFailed = true;
  m_Free = m_FreeEnd = nullptr;
  m_Unread = m_UnreadEnd = nullptr;
}
