#include "assistant/AssistantConnection.h"

#include <utility>

#include "assistant/PropertyMap.h"
#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/Output.h"
#include "platform/Thread.h"

namespace {

const char kRequiredVersion[] = TORVEL_VERSION;
constexpr uint16_t kAssistantPort = 8118;
constexpr int kReconnectAttempts = 20;
constexpr unsigned kReconnectPauseMilliseconds = 500;

const char kAssistantHost[] = "127.0.0.1";

std::unique_ptr<Socket> OpenAssistantSocket() {
  return std::make_unique<Socket>(kAssistantHost, kAssistantPort, SOCK_STREAM, AF_INET, 0);
}

// First attempt: disable SYN retries, so that a missing Assistant fails at once.
std::unique_ptr<Socket> OpenFirstSocket() {
  auto socket = std::make_unique<Socket>();
  if (socket->Create(SOCK_STREAM, AF_INET, 0)) {
    socket->ConnectWithoutRetries();
    socket->Connect(kAssistantHost, kAssistantPort);
  }
  return socket;
}

PropertyMap ParseStatus(const std::string& answer) {
  PropertyMap status;
  status.Parse(answer);
  return status;
}

bool HasRequiredVersion(PropertyMap& status) {
  return status.GetProperty("version") == kRequiredVersion;
}

// Copies the files that the Assistant restarts from to its `workingDirectory`. A path ends at a NUL
// for the system: without the cut, the Assistant could choose the names of the copies.
void InstallAssistantFiles(const std::string& jarDirectory, const std::string& libDirectory,
                           const std::string& workingDirectory) {
  const std::string directory = workingDirectory.c_str();
  InstallFile(jarDirectory + "TorvelAssistant.x64", directory + "/TorvelAssistant.exe");
  InstallFileInto(jarDirectory + "Torvel.jar", directory);
  InstallFileInto(libDirectory + "torvel-win64.dll", directory);
  InstallFileInto(libDirectory + "swt-win64.jar", directory);
  const std::string slave = jarDirectory + "Slave.jar";
  if (FileExists(slave)) {
    InstallFileInto(slave, directory);
  }
}

}  // namespace

std::unique_ptr<AssistantConnection> ConnectToAssistant() {
  std::unique_ptr<Socket> socket = OpenFirstSocket();
  if (!socket->IsConnected()) {
    DebugPrint("Assistant: Not found\n");
    return nullptr;
  }
  DebugPrint("Assistant: Connected\n");
  return std::make_unique<AssistantConnection>(std::move(socket));
}

AssistantConnection::AssistantConnection(std::unique_ptr<Socket> connection)
    : m_Connection(std::make_unique<AssistantWire>(std::move(connection))) {}

AssistantConnection::~AssistantConnection() {
  CloseKeepAlive();  // before the request connection
}

bool AssistantConnection::EnsureVersion(const std::string& jarDirectory,
                                        const std::string& libDirectory) {
  std::string answer;
  if (!Wire().Request("Status", answer)) {
    return true;
  }
  PropertyMap status = ParseStatus(answer);
  if (HasRequiredVersion(status)) {
    return true;
  }
  Print("Version mis-match, restarting Assistant with version %s\n", kRequiredVersion);
  InstallAssistantFiles(jarDirectory, libDirectory, status.GetProperty("cwd"));
  Wire().SendString("Restart");
  while (Wire().ReceiveByte() != -1) {
  }
  m_Connection.reset();
  return Reconnect();
}

bool AssistantConnection::Reconnect() {
  for (int attempt = 0; attempt < kReconnectAttempts; ++attempt) {
    DebugPrint("Waiting for assistant...\n");
    SleepMilliseconds(kReconnectPauseMilliseconds);
    std::unique_ptr<Socket> socket = OpenAssistantSocket();
    const bool isConnected = socket->IsConnected();
    m_Connection = std::make_unique<AssistantWire>(std::move(socket));
    std::string answer;
    if (isConnected && Wire().Request("Status", answer)) {
      DebugPrint("Reconnected...\n");
      PropertyMap status = ParseStatus(answer);
      if (HasRequiredVersion(status)) {
        DebugPrint("Updated!\n");
        return true;
      }
    }
    m_Connection.reset();
  }
  Print("Warning: Assistant failed to restart\n");
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
