#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "JavaRuntime.h"
#include "Paths.h"
#include "RegistryText.h"

struct HKEY__ {
  std::string path;
  const host::RegistryKey* key;
};

namespace {

using host::RegistryKey;
using host::RegistryTree;

constexpr char kRoot[] = "hkey_local_machine";

// The entries under which the installers of Java for Windows make it known.
void OfferJava(RegistryTree& tree) {
  const host::JavaRuntime java = host::FindJavaRuntime();
  if (java.library.empty()) {
    return;
  }
  const std::string path = std::string(kRoot) + "\\SOFTWARE\\JavaSoft\\Java Runtime Environment";
  host::SetText(host::AddKey(tree, path), "CurrentVersion", java.version);
  host::SetText(host::AddKey(tree, path + "\\" + java.version), "RuntimeLib", java.library);
}

RegistryTree ReadTree() {
  RegistryTree tree;
  const char* file = std::getenv("TORVEL_HOST_REGISTRY");
  if (file != nullptr) {
    tree = host::ParseRegistryText(host::FileText(host::HostPath(file)));
  } else {
    OfferJava(tree);
  }
  host::AddKey(tree, kRoot);
  return tree;
}

// Read when first asked for, and never destroyed, like the table of open keys.
const RegistryTree& Tree() {
  static const RegistryTree& tree = *new RegistryTree(ReadTree());
  return tree;
}

// The keys that are open. A closed key is known by not being here.
class OpenKeys {
 public:
  HKEY Add(std::string path, const RegistryKey& key) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Keys.push_back(std::make_unique<HKEY__>(HKEY__{std::move(path), &key}));
    return m_Keys.back().get();
  }

  bool Remove(HKEY handle) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    for (auto key = m_Keys.begin(); key != m_Keys.end(); ++key) {
      if (key->get() == handle) {
        m_Keys.erase(key);
        return true;
      }
    }
    return false;
  }

  // False for a handle that is not open.
  bool Find(HKEY handle, HKEY__& found) {
    if (handle == HKEY_LOCAL_MACHINE) {
      found = HKEY__{kRoot, &Tree().at(kRoot)};
      return true;
    }
    const std::lock_guard<std::mutex> lock(m_Mutex);
    for (const auto& key : m_Keys) {
      if (key.get() == handle) {
        found = *key;
        return true;
      }
    }
    return false;
  }

 private:
  std::mutex m_Mutex;
  std::vector<std::unique_ptr<HKEY__>> m_Keys;
};

OpenKeys& Open() {
  static OpenKeys& keys = *new OpenKeys;
  return keys;
}

}  // namespace

// Differs from Windows:
// - HKEY_LOCAL_MACHINE alone, for reading: another right is refused with 5. Its entries are those
//   of the file that TORVEL_HOST_REGISTRY names, as they were when first asked for; without that
//   variable, Java's two entries for the Java of JAVA_HOME, else of `java` on PATH.
LSTATUS RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, HKEY* result) {
  HKEY__ parent;
  if (!Open().Find(key, parent)) {
    return ERROR_INVALID_HANDLE;
  }
  if (options != 0 || result == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  if ((access & ~KEY_READ) != 0) {
    return ERROR_ACCESS_DENIED;
  }
  std::string path = parent.path;
  if (subKey != nullptr && *subKey != '\0') {
    path += '\\' + host::FoldedName(subKey);
    if (path.back() == '\\') {
      path.pop_back();
    }
  }
  const auto found = Tree().find(path);
  if (found == Tree().end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  *result = Open().Add(path, found->second);
  return ERROR_SUCCESS;
}

LSTATUS RegQueryValueExA(HKEY key, LPCSTR valueName, LPDWORD reserved, LPDWORD type, LPBYTE data,
                         LPDWORD size) {
  HKEY__ open;
  if (!Open().Find(key, open)) {
    return ERROR_INVALID_HANDLE;
  }
  if (reserved != nullptr || (data != nullptr && size == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  const auto found = open.key->find(host::FoldedName(valueName != nullptr ? valueName : ""));
  if (found == open.key->end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  const host::RegistryValue& value = found->second;
  if (type != nullptr) {
    *type = value.type;
  }
  LSTATUS status = ERROR_SUCCESS;
  if (size != nullptr) {
    const auto needed = static_cast<DWORD>(value.data.size());
    if (data != nullptr && *size < needed) {
      status = ERROR_MORE_DATA;
    } else if (data != nullptr) {
      std::memcpy(data, value.data.data(), needed);
    }
    *size = needed;
  }
  return status;
}

LSTATUS RegCloseKey(HKEY key) {
  const bool isKnown = key == HKEY_LOCAL_MACHINE || Open().Remove(key);
  return static_cast<LSTATUS>(isKnown ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}
