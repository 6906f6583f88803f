#pragma once
// A session with the resident Assistant on TCP port 8118 of this machine: the request connection
// and, during a build, the keep-alive connection.
//
// Created by ConnectToAssistant and owned by its caller. One thread at a time, in the scope of a
// SocketStartup.

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

  // The request connection. Invalid after EnsureVersion has returned false.
  AssistantWire& Wire() { return *m_Connection; }

  // Ensures that the Assistant has the launcher's version: copies the launcher's files to one of
  // another version and restarts it. An Assistant that does not report its status is accepted.
  // Returns false, with the connection closed, if the Assistant does not return with that version.
  // Both directories end in a separator. Throws LaunchFailure when a copy fails.
  bool EnsureVersion(const std::string& jarDirectory, const std::string& libDirectory);

  // Opens a second connection, which shows the Assistant that the launcher is still running.
  // Ignores a failed connect.
  bool OpenKeepAlive();
  void CloseKeepAlive();

 private:
  bool Reconnect();

  std::unique_ptr<AssistantWire> m_Connection;
  std::unique_ptr<Socket> m_KeepAlive;
};

// Null if the Assistant cannot be reached.
std::unique_ptr<AssistantConnection> ConnectToAssistant();
