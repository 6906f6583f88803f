#include "platform/BufferedSocket.h"

#include <utility>

namespace {

constexpr size_t kGatheredSize = 32768;
// With half of it, a long relay waits twice as often.
constexpr int32_t kReadAheadSize = 65536;

}  // namespace

BufferedSocket::BufferedSocket(std::unique_ptr<Socket> socket) : m_Socket(std::move(socket)) {}

BufferedSocket::~BufferedSocket() {
  Flush();
}

bool BufferedSocket::Send(std::string_view bytes) {
  if (m_Gathered.size() + bytes.size() <= kGatheredSize) {
    m_Gathered += bytes;
    return !m_HasFailed;
  }
  return Flush() && (bytes.size() > kGatheredSize ? SendAll(bytes) : Send(bytes));
}

bool BufferedSocket::Flush() {
  const bool isSent = SendAll(m_Gathered);
  m_Gathered.clear();
  return isSent;
}

std::string_view BufferedSocket::ReadAhead() {
  if (!Flush()) {
    return {};
  }
  if (m_ReadAhead == nullptr) {
    m_ReadAhead.reset(new char[kReadAheadSize]);  // make_unique would fill it with zeros
  }
  const int32_t received = m_Socket->Receive(m_ReadAhead.get(), kReadAheadSize, 0);
  if (received < 0) {
    Fail();
  } else {
    m_Unread = std::string_view(m_ReadAhead.get(), static_cast<size_t>(received));
  }
  return m_Unread;
}

bool BufferedSocket::SendAll(std::string_view bytes) {
  while (!m_HasFailed && !bytes.empty()) {
    const int32_t sent = m_Socket->Send(bytes.data(), static_cast<int32_t>(bytes.size()), 0);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
    } else {
      Fail();
    }
  }
  return !m_HasFailed;
}

void BufferedSocket::Fail() {
  m_HasFailed = true;
  m_Unread = {};
}
