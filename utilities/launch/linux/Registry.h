#pragma once
// The contents of the emulated registry.

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace linux {

// Folded name ("" for the default value) to text; nullopt: not a string.
using RegistryValues = std::map<std::string, std::optional<std::string>>;

// Folded key path, including the root key, separated by '\', to the key's values.
using Registry = std::map<std::string, RegistryValues>;

// Parses an export of the Windows registry editor. Skips malformed lines, and the values below a
// malformed key line.
Registry ParseRegistryText(std::string_view text);

// The libjvm.so of JAVA_HOME if set, else of `java` on PATH. Empty if there is none.
std::string FindJavaLibrary();

}  // namespace linux
