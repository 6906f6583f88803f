#pragma once
// One conversation with the resident Assistant on TCP port 8118 of this machine: the request
// connection and, while a build runs, the keep-alive connection.
//
// Made by ConnectToAssistant, owned by its caller, used by one thread at a time, inside the scope
// of a SocketStartup.

#include <memory>
#include <string>

#include "assistant/AssistantWire.h"

class PropertyMap;

class AssistantConnection {
 public:
  explicit AssistantConnection(std::unique_ptr<Socket> connection);
  AssistantConnection(const AssistantConnection&) = delete;
  AssistantConnection& operator=(const AssistantConnection&) = delete;
  ~AssistantConnection();

  // The request connection; not after EnsureVersion returned false.
  AssistantWire& Wire() { return *m_Connection; }

  // Makes sure that the Assistant has the launcher's version: one of another version gets the
  // launcher's files and is told to restart. False when it did not come back with that version; the
  // connection is then closed. An Assistant that does not tell its state is taken as it is. Both
  // directories end in a separator. Throws LaunchFailure when a copy fails.
  bool EnsureVersion(const std::string& jarDirectory, const std::string& libDirectory);

  // A second connection, which only tells the Assistant that the launcher is still there. Whether
  // it could be connected is not looked at.
  bool OpenKeepAlive();
  void CloseKeepAlive();

 private:
  bool Reconnect();

  std::unique_ptr<AssistantWire> m_Connection;
  std::unique_ptr<Socket> m_KeepAlive;
};

// Null when the Assistant cannot be reached.
std::unique_ptr<AssistantConnection> ConnectToAssistant();
