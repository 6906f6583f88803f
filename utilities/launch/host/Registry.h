#pragma once
// Where the entries of the registry come from.

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace host {

// Folded name ("" for the default value) to text; of a value that is none, nothing else is known.
using RegistryValues = std::map<std::string, std::optional<std::string>>;

// Folded path of a key, from the root key on, separated by '\', to its values.
using Registry = std::map<std::string, RegistryValues>;

// From the form that the registry editor of Windows exports. A line that is no key and no value is
// skipped; the values below a key line that is none are too.
Registry ParseRegistryText(std::string_view text);

// The path of libjvm.so of the Java that the host offers: JAVA_HOME's, else that of `java` on PATH.
// Empty when there is none.
std::string FindJavaLibrary();

}  // namespace host
