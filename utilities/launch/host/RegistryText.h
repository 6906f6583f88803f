#pragma once
// The text form of registry entries, as the registry editor of Windows exports it.

#include <map>
#include <string>
#include <string_view>

#include "windows.h"

namespace host {

struct RegistryValue {
  DWORD type;
  std::string data;  // the bytes that a query gives; a text's with its NUL
};

// Value name (lower-case, "" for the default value) to value.
using RegistryKey = std::map<std::string, RegistryValue>;

// Key path (lower-case, from the root key on, separated by '\') to its values. The keys above a key
// are there too.
using RegistryTree = std::map<std::string, RegistryKey>;

// ASCII letters only, as the names of keys and values ignore case.
std::string FoldedName(std::string_view name);

RegistryKey& AddKey(RegistryTree& tree, std::string_view path);
void SetText(RegistryKey& key, std::string_view name, std::string_view text);

// Of either form, REGEDIT4 or version 5, the latter in UTF-16 or narrow. Text becomes UTF-8. A line
// that is no key and no value is skipped; the values below a key line that is none are too.
RegistryTree ParseRegistryText(std::string_view bytes);

}  // namespace host
