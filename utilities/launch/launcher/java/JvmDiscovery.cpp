#include "java/JvmDiscovery.h"

#include <cstdio>
#include <cstring>

#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/Owner.h"
#include "platform/Text.h"

namespace {

const char kPublicRuntimeKey[] = "SOFTWARE\\JavaSoft\\Java Runtime Environment";
const char kNoInstallation[] = "No installation value found\n";
const char kNoPublicVersion[] = "No JRE version value found\n";

void CloseKey(HKEY key) {
  RegCloseKey(key);
}
using RegistryKey = Owner<HKEY, CloseKey>;

// Null if the key does not exist or cannot be read.
RegistryKey OpenKey(const std::string& name) {
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, name.c_str(), 0, KEY_READ, &key);
  return RegistryKey(status == ERROR_SUCCESS ? key : nullptr);
}

// Reads a REG_SZ value of at most 260 bytes. A stored string may lack its NUL; the buffer has one.
std::optional<std::string> ReadText(const RegistryKey& key, const char* name) {
  char buffer[MAX_PATH + 1] = {};
  DWORD type = 0;
  DWORD size = MAX_PATH;
  const LSTATUS status = RegQueryValueExA(key.Get(), name, nullptr, &type,
                                          reinterpret_cast<unsigned char*>(buffer), &size);
  if (status != ERROR_SUCCESS || type != REG_SZ) {
    return std::nullopt;
  }
  return std::string(buffer);
}

std::optional<std::string> ReadInstallDirectory() {
  const RegistryKey key = OpenKey("SOFTWARE\\Torvel");
  if (!key) {
    DebugPrint("No installation key found\n");
    return std::nullopt;
  }
  std::optional<std::string> directory = ReadText(key, "Install_Dir");
  if (!directory) {
    DebugText(kNoInstallation);
  }
  return directory;
}

std::optional<std::string> FindOwnRuntime() {
  const std::optional<std::string> directory = ReadInstallDirectory();
  if (!directory) {
    return std::nullopt;
  }
  const std::string client = *directory + "\\JRE\\bin\\client\\jvm.dll";
  const std::string server = *directory + "\\JRE\\bin\\server\\jvm.dll";
  for (const std::string& candidate : {client, server}) {
    if (FileExists(candidate) && candidate.size() < MAX_PATH) {
      DebugPrint("Found Torvel JRE in %s\n", candidate.c_str());
      return candidate;
    }
  }
  DebugPrint("No DLL at %s found\n", client.c_str());
  DebugText(kNoInstallation);
  return std::nullopt;
}

std::optional<std::string> ReadPublicVersion() {
  const RegistryKey key = OpenKey(kPublicRuntimeKey);
  if (!key) {
    DebugPrint("No JRE version key found\n");
    return std::nullopt;
  }
  std::optional<std::string> version = ReadText(key, "CurrentVersion");
  if (!version) {
    DebugText(kNoPublicVersion);
  }
  return version;
}

// Runtimes up to Java 8 register under their two leading numbers: 1.6 for 1.6.0_20. Read as one
// decimal number, so 1.10 becomes 1.1.
std::string PublicRuntimeKey(const std::string& version) {
  float number = 0;
  sscanf(version.c_str(), "%f", &number);
  char text[32];
  snprintf(text, sizeof text, "%g", static_cast<double>(number));
  return std::string(kPublicRuntimeKey) + '\\' + text;
}

std::optional<std::string> FindPublicRuntime() {
  const std::optional<std::string> version = ReadPublicVersion();
  if (!version) {
    return std::nullopt;
  }
  const std::string name = PublicRuntimeKey(*version);
  const RegistryKey key = OpenKey(name);
  if (!key) {
    DebugPrint("No JRE installation key '%s' found\n", name.c_str());
    DebugText(kNoPublicVersion);
    return std::nullopt;
  }
  std::optional<std::string> library = ReadText(key, "RuntimeLib");
  if (!library || library->size() >= MAX_PATH) {
    DebugPrint("No JRE installation value '%s' found\n", name.c_str());
    DebugText(kNoPublicVersion);
    return std::nullopt;
  }
  return library;
}

HMODULE LoadFrom(const std::string& path) {
  // The full path: with RuntimeLibraries, Windows does not search the current directory.
  const std::string file = FileExists(path) ? FullPath(path) : path;
  const RuntimeLibraries libraries(file);
  const HMODULE library = LoadLibraryA(file.c_str());
  if (library != nullptr) {
    DebugPrint("LoadLibrary success with jvmPath=%s\n", path.c_str());
  }
  return library;
}

}  // namespace

RuntimeLibraries::RuntimeLibraries(const std::string& library)
    : m_Bin(DirectoryOf(DirectoryOf(library))) {  // <bin>\server\jvm.dll
  SetDllDirectoryA(m_Bin.c_str());
}

RuntimeLibraries::~RuntimeLibraries() {
  SetDllDirectoryA(nullptr);
}

void RuntimeLibraries::LoadForLater() const {
  // awt.dll needs more of Microsoft's C++ runtime than jvm.dll. By bare name, so that a library
  // already loaded is not loaded twice.
  for (const char* name : {"vcruntime140_1.dll", "msvcp140.dll"}) {
    if (FileExists(m_Bin + '\\' + name)) {
      LoadLibraryA(name);
    }
  }
}

std::optional<std::string> FindJvmPath() {
  DebugPrint("Looking for Torvel JRE...\n");
  if (std::optional<std::string> path = FindOwnRuntime()) {
    return path;
  }
  DebugPrint("Looking for public JRE...\n");
  return FindPublicRuntime();
}

HMODULE LoadJvm() {
  const QuietErrors quiet;
  HMODULE library = LoadLibraryA("jvm.dll");
  if (library != nullptr) {
    return library;
  }
  std::optional<std::string> path = FindJvmPath();
  if (!path) {
    return nullptr;
  }
  library = LoadFrom(*path);
  // Older runtimes register the client library even if only the server library is installed.
  const size_t client = path->find("client");
  if (library == nullptr && client != std::string::npos) {
    library = LoadFrom(path->replace(client, strlen("client"), "server"));
  }
  return library;
}
