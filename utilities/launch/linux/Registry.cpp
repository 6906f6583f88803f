#include "Registry.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Handles.h"
#include "Paths.h"
#include "windows.h"

namespace {

using linux::Registry;
using linux::RegistryValues;

constexpr char kRoot[] = "hkey_local_machine";
// The rest of a longer file is ignored.
constexpr std::size_t kMaxRegistryText = 4 << 20;

// Key and value names ignore case (ASCII only).
std::string FoldedName(std::string_view name) {
  std::string folded(name);
  for (char& c : folded) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return folded;
}

std::string_view Trimmed(std::string_view text) {
  constexpr char kBlanks[] = " \t\r";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
  const bool hasIt = text.substr(0, prefix.size()) == prefix;
  text.remove_prefix(hasIt ? prefix.size() : 0);
  return hasIt;
}

// A quoted string, in which a backslash escapes a quote or a backslash.
std::optional<std::string> TakeQuoted(std::string_view& text) {
  if (!TakePrefix(text, "\"")) {
    return std::nullopt;
  }
  std::string value;
  while (!TakePrefix(text, "\"")) {
    const bool isEscaped = TakePrefix(text, "\\");
    if (text.empty() || (isEscaped && text[0] != '\\' && text[0] != '"')) {
      return std::nullopt;
    }
    value += text[0];
    text.remove_prefix(1);
  }
  return value;
}

// name=value, or @=value for the default value.
void ReadValue(std::string_view line, RegistryValues& values) {
  const std::optional<std::string> name = TakePrefix(line, "@") ? "" : TakeQuoted(line);
  line = Trimmed(line);
  if (!name || !TakePrefix(line, "=")) {
    return;
  }
  line = Trimmed(line);
  if (std::optional<std::string> text = TakeQuoted(line); text && line.empty()) {
    values[FoldedName(*name)] = std::move(text);
  } else if (TakePrefix(line, "dword:") || TakePrefix(line, "hex:") || TakePrefix(line, "hex(")) {
    values[FoldedName(*name)] = std::nullopt;
  }
}

Registry ReadRegistry() {
  if (const char* file = std::getenv("TORVEL_REGISTRY")) {
    const linux::Descriptor source(linux::OpenRegularFile(linux::LinuxPath(file)));
    std::string text;
    char block[16384];
    ssize_t length = 0;
    while (text.size() < kMaxRegistryText &&
           (length = ::read(source.Get(), block, sizeof block)) > 0) {
      text.append(block, static_cast<std::size_t>(length));
    }
    return linux::ParseRegistryText(text);
  }
  // The entries that installers of Java for Windows write.
  Registry registry;
  if (std::string library = linux::FindJavaLibrary(); !library.empty()) {
    const std::string java = std::string(kRoot) + "\\software\\javasoft\\java runtime environment";
    registry[java]["currentversion"] = "1";
    registry[java + "\\1"]["runtimelib"] = std::move(library);
  }
  return registry;
}

// Read on first use and never destroyed: an HKEY is the address of an entry.
const Registry& Entries() {
  static const Registry& registry = *new Registry(ReadRegistry());
  return registry;
}

const Registry::value_type& EntryOf(HKEY key) {
  return *reinterpret_cast<const Registry::value_type*>(key);
}

}  // namespace

namespace linux {

std::string FindJavaLibrary() {
  const char* variable = std::getenv("JAVA_HOME");
  std::string home = variable != nullptr ? variable : "";
  const std::string program = home.empty() ? ResolvedPath(FindProgram({}, "java", "")) : "";
  if (!program.empty()) {
    home = DirectoryOf(DirectoryOf(program));
  }
  // Java 9 and later; then Java 8 as a JDK and as a JRE.
  for (const char* directory : {"/lib/server", "/jre/lib/amd64/server", "/lib/amd64/server",
                                "/jre/lib/aarch64/server", "/lib/aarch64/server"}) {
    std::string library = home + directory + "/libjvm.so";
    if (!home.empty() && ::access(library.c_str(), F_OK) == 0) {
      return library;
    }
  }
  return "";
}

Registry ParseRegistryText(std::string_view text) {
  Registry registry;
  RegistryValues* values = nullptr;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = Trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (TakePrefix(line, "[")) {
      // A leading '-' deletes a key; exports never contain it.
      const bool isKey = line.size() > 1 && line.back() == ']' && line.front() != '-';
      values = isKey ? &registry[FoldedName(line.substr(0, line.size() - 1))] : nullptr;
    } else if (values != nullptr) {
      ReadValue(line, *values);
    }
  }
  return registry;
}

}  // namespace linux

// Differs from Windows:
// - Only HKEY_LOCAL_MACHINE, read-only whatever is requested. A key exists only if the file names
//   it.
// - The entries come from the file named by TORVEL_REGISTRY, read on first use. If the
//   variable is unset, they are the two entries of the Java that FindJavaLibrary finds.
LSTATUS RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD /*options*/, DWORD /*access*/, HKEY* result) {
  const std::string parent = key == HKEY_LOCAL_MACHINE ? kRoot : EntryOf(key).first;
  const auto found = Entries().find(parent + '\\' + FoldedName(subKey));
  if (found == Entries().end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  *result = reinterpret_cast<HKEY>(const_cast<Registry::value_type*>(&*found));
  return ERROR_SUCCESS;
}

// Differs from Windows:
// - A value that is not a string has type REG_BINARY and no bytes.
LSTATUS RegQueryValueExA(HKEY key, LPCSTR valueName, std::nullptr_t, LPDWORD type, BYTE* data,
                         LPDWORD size) {
  const RegistryValues& values = EntryOf(key).second;
  const auto found = values.find(FoldedName(valueName));
  if (found == values.end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  const std::optional<std::string>& text = found->second;
  const auto needed = static_cast<DWORD>(text ? text->size() + 1 : 0);
  const bool fits = needed <= *size;
  *type = text ? REG_SZ : REG_BINARY;
  *size = needed;
  if (fits && text) {
    std::memcpy(data, text->c_str(), needed);
  }
  return static_cast<LSTATUS>(fits ? ERROR_SUCCESS : ERROR_MORE_DATA);
}

// Differs from Windows:
// - Nothing is to be done: a key is the address of an entry that stays. It is not checked.
LSTATUS RegCloseKey(HKEY /*key*/) {
  return ERROR_SUCCESS;
}
