// The registry's text form: what was read, written out and read again, is the same.
#include <iomanip>
#include <sstream>

#include "Check.h"
#include "host/Registry.h"

static std::string Written(const host::Registry& registry) {
  std::ostringstream text;
  for (const auto& [path, values] : registry) {
    text << '[' << path << "]\n";
    for (const auto& [name, value] : values) {
      text << std::quoted(name) << '=';
      value ? text << std::quoted(*value) : text << "dword:0";
      text << '\n';
    }
  }
  return text.str();
}

void Try(std::string_view input) {
  const std::string text = Written(host::ParseRegistryText(input));
  Check(Written(host::ParseRegistryText(text)) == text);
}
