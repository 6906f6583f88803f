// The registry's text form: what was read, written out and read again, is the same.
#include <iomanip>
#include <sstream>

#include "Check.h"
#include "host/RegistryText.h"

static std::string Written(const host::RegistryTree& tree) {
  std::ostringstream text("REGEDIT4\n", std::ios::ate);
  for (const auto& [path, values] : tree) {
    text << '[' << path << "]\n" << std::hex;
    for (const auto& [name, value] : values) {
      text << std::quoted(name) << "=hex(" << value.type << "):";
      for (const char each : value.data) text << +static_cast<unsigned char>(each) << ",";
      text << '\n';
    }
  }
  return text.str();
}

void Try(std::string_view input) {
  const host::RegistryTree tree = host::ParseRegistryText(input);
  for (const auto& [path, values] : tree) {
    const size_t above = path.rfind('\\');
    Check(path == host::FoldedName(path));
    Check(above == std::string::npos || tree.count(path.substr(0, above)) == 1);
  }
  const std::string text = Written(tree);
  Check(Written(host::ParseRegistryText(text)) == text);
}
