#pragma once
// Registry entries from their text form, as the registry editor of Windows exports it.

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace host {

// Folded name ("" for the default value) to text; of a value that is none, nothing else is known.
using RegistryValues = std::map<std::string, std::optional<std::string>>;

// Folded path of a key, from the root key on, separated by '\', to its values. The keys above a key
// are there too.
using Registry = std::map<std::string, RegistryValues>;

// The names of keys and values ignore case. ASCII letters only.
std::string FoldedName(std::string_view name);

// A line that is no key and no value is skipped; the values below a key line that is none are too.
Registry ParseRegistryText(std::string_view text);

}  // namespace host
