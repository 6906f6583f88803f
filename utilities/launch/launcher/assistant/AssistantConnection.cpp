// Reaching the Assistant, bringing it to the launcher's version, and keeping it told that the
// launcher is there.
#include "assistant/AssistantConnection.h"

#include <stdio.h>

#include <utility>

#include "assistant/PropertyMap.h"
#include "platform/Diagnostics.h"
#include "platform/FileUtilities.h"
#include "platform/Thread.h"

namespace {

const char kRequiredVersion[] = "2.8.10";
constexpr uint16_t kAssistantPort = 8118;
constexpr int kReconnectAttempts = 20;
constexpr unsigned kReconnectPauseMilliseconds = 500;

std::unique_ptr<Socket> OpenAssistantSocket() {
  return std::make_unique<Socket>("127.0.0.1", kAssistantPort, SOCK_STREAM, AF_INET, 0);
}

// What the running Assistant restarts itself from; `directory` is its working directory.
void InstallAssistantFiles(const std::string& jarDirectory, const std::string& libDirectory,
                           const std::string& directory) {
  InstallFile(jarDirectory + "TorvelAssistant.x64", directory + "/TorvelAssistant.exe", false);
  InstallFile(jarDirectory + "Torvel.jar", directory, true);
  InstallFile(libDirectory + "torvel-win64.dll", directory, true);
  InstallFile(libDirectory + "swt-win64.jar", directory, true);
  const std::string slave = jarDirectory + "Slave.jar";
  if (FileExists(slave)) {
    InstallFile(slave, directory, true);
  }
}

}  // namespace

std::unique_ptr<AssistantConnection> ConnectToAssistant() {
  std::unique_ptr<Socket> socket = OpenAssistantSocket();
  if (!socket->IsConnected()) {
    DebugPrint("Assistant: Not found\n");
    return nullptr;
  }
  DebugPrint("Assistant: Connected\n");
  return std::make_unique<AssistantConnection>(std::move(socket));
}

AssistantConnection::AssistantConnection(std::unique_ptr<Socket> connection)
    : m_Connection(std::move(connection)) {}

AssistantConnection::~AssistantConnection() {
  CloseKeepAlive();
  if (m_Connection != nullptr) {
    m_Connection->Close();
  }
}

bool AssistantConnection::EnsureVersion(const std::string& jarDirectory,
                                        const std::string& libDirectory) {
  std::string answer;
  if (!Request("Status", answer)) {
    return true;
  }
  PropertyMap status;
  status.Parse(answer);
  if (status.GetProperty("version") == kRequiredVersion) {
    return true;
  }
  printf("Version mis-match, restarting Assistant with version %s\n", kRequiredVersion);
  fflush(stdout);
  InstallAssistantFiles(jarDirectory, libDirectory, status.GetProperty("cwd"));
  SendString("Restart");
  WaitForEndOfStream();
  return Reconnect();
}

void AssistantConnection::WaitForEndOfStream() {
  while (ReceiveByte() != -1) {
  }
  m_Connection->Close();
  m_Connection.reset();
}

bool AssistantConnection::Reconnect() {
  for (int attempt = 0; attempt < kReconnectAttempts; ++attempt) {
    DebugPrint("Waiting for assistant...\n");
    SleepMilliseconds(kReconnectPauseMilliseconds);
    m_Connection = OpenAssistantSocket();
    std::string answer;
    if (m_Connection->IsConnected() && Request("Status", answer)) {
      DebugPrint("Reconnected...\n");
      PropertyMap status;
      status.Parse(answer);
      if (status.GetProperty("version") == kRequiredVersion) {
        DebugPrint("Updated!\n");
        return true;
      }
    }
    m_Connection->Close();
    m_Connection.reset();
  }
  printf("Warning: Assistant failed to restart\n");
  fflush(stdout);
  return false;
}

bool AssistantConnection::OpenKeepAlive() {
  DebugPrint("Assistant KeepAlive open");
  m_KeepAlive = OpenAssistantSocket();
  return m_KeepAlive != nullptr;
}

void AssistantConnection::CloseKeepAlive() {
  if (m_KeepAlive == nullptr) {
    return;
  }
  m_KeepAlive->Close();
  m_KeepAlive.reset();
  DebugPrint("Assistant KeepAlive closed");
}
