#include "java/JvmDiscovery.h"

#include <stdio.h>
#include <string.h>

#include <optional>
#include <string>

#include "platform/Diagnostics.h"
#include "platform/FileUtilities.h"

namespace {

const char kToolKey[] = "SOFTWARE\\Torvel";
const char kPublicRuntimeKey[] = "SOFTWARE\\JavaSoft\\Java Runtime Environment";
const char kNoInstallation[] = "No installation value found\n";
const char kNoPublicVersion[] = "No JRE version value found\n";

// Owns an open key of the registry.
class RegistryKey {
 public:
  explicit RegistryKey(const char* name) {
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, name, 0, KEY_READ, &m_Key) != ERROR_SUCCESS) {
      m_Key = nullptr;
    }
  }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  ~RegistryKey() {
    if (m_Key != nullptr) {
      RegCloseKey(m_Key);
    }
  }

  bool IsOpen() const { return m_Key != nullptr; }

  // A value of type REG_SZ and at most 260 bytes; a stored text need not end in a NUL, so one is
  // always added.
  std::optional<std::string> ReadText(const char* name) const {
    char buffer[MAX_PATH + 1] = {};
    DWORD type = 0;
    DWORD size = MAX_PATH;
    const LSTATUS status = RegQueryValueExA(m_Key, name, nullptr, &type,
                                            reinterpret_cast<unsigned char*>(buffer), &size);
    if (status != ERROR_SUCCESS || type != REG_SZ) {
      return std::nullopt;
    }
    return std::string(buffer);
  }

 private:
  HKEY m_Key = nullptr;
};

bool CopyPath(const std::string& text, JvmPath& path) {
  if (text.size() >= sizeof path) {
    return false;
  }
  memcpy(path, text.c_str(), text.size() + 1);
  return true;
}

std::optional<std::string> ReadInstallDirectory() {
  const RegistryKey key(kToolKey);
  if (!key.IsOpen()) {
    DebugPrint("No installation key found\n");
    return std::nullopt;
  }
  std::optional<std::string> directory = key.ReadText("Install_Dir");
  if (!directory) {
    DebugText(kNoInstallation);
  }
  return directory;
}

bool FindOwnRuntime(JvmPath& path) {
  const std::optional<std::string> directory = ReadInstallDirectory();
  if (!directory) {
    return false;
  }
  const std::string client = *directory + "\\JRE\\bin\\client\\jvm.dll";
  const std::string server = *directory + "\\JRE\\bin\\server\\jvm.dll";
  for (const std::string& candidate : {client, server}) {
    if (FileExists(candidate) && CopyPath(candidate, path)) {
      DebugPrint("Found Torvel JRE in %s\n", path);
      return true;
    }
  }
  DebugPrint("No DLL at %s found\n", client.c_str());
  DebugText(kNoInstallation);
  return false;
}

std::optional<std::string> ReadPublicVersion() {
  const RegistryKey key(kPublicRuntimeKey);
  if (!key.IsOpen()) {
    DebugPrint("No JRE version key found\n");
    return std::nullopt;
  }
  std::optional<std::string> version = key.ReadText("CurrentVersion");
  if (!version) {
    DebugText(kNoPublicVersion);
  }
  return version;
}

// The version's number alone names the runtime's key: 1.6.0_20 is found under 1.6.
std::string PublicRuntimeKey(const std::string& version) {
  float number = 0;
  sscanf(version.c_str(), "%f", &number);
  char text[32];
  snprintf(text, sizeof text, "%g", static_cast<double>(number));
  return std::string(kPublicRuntimeKey) + '\\' + text;
}

bool FindPublicRuntime(JvmPath& path) {
  const std::optional<std::string> version = ReadPublicVersion();
  if (!version) {
    return false;
  }
  const std::string name = PublicRuntimeKey(*version);
  const RegistryKey key(name.c_str());
  if (!key.IsOpen()) {
    DebugPrint("No JRE installation key '%s' found\n", name.c_str());
    DebugText(kNoPublicVersion);
    return false;
  }
  const std::optional<std::string> library = key.ReadText("RuntimeLib");
  if (!library || !CopyPath(*library, path)) {
    DebugPrint("No JRE installation value '%s' found\n", name.c_str());
    DebugText(kNoPublicVersion);
    return false;
  }
  return true;
}

HMODULE LoadFrom(const JvmPath& path) {
  const HMODULE library = LoadLibraryA(path);
  if (library != nullptr) {
    DebugPrint("LoadLibrary success with jvmPath=%s\n", path);
  }
  return library;
}

// Older runtimes name their client library even where only the server one is installed.
bool ReplaceClientByServer(JvmPath& path) {
  char* client = strstr(path, "client");
  if (client == nullptr) {
    return false;
  }
  memcpy(client, "server", strlen("server"));
  return true;
}

}  // namespace

int FindJvmPath(JvmPath& path) {
  DebugPrint("Looking for Torvel JRE...\n");
  if (FindOwnRuntime(path)) {
    return 0;
  }
  DebugPrint("Looking for public JRE...\n");
  return FindPublicRuntime(path) ? 0 : -1;
}

HMODULE LoadJvm() {
  HMODULE library = LoadLibraryA("jvm.dll");
  if (library != nullptr) {
    return library;
  }
  JvmPath path = {};
  if (FindJvmPath(path) != 0) {
    return nullptr;
  }
  library = LoadFrom(path);
  if (library == nullptr && ReplaceClientByServer(path)) {
    library = LoadFrom(path);
  }
  return library;
}
