// The registry's text form: what was read, written out and read again, is the same.
#include <stdio.h>

#include "Check.h"
#include "host/RegistryText.h"

static std::string Hex(unsigned number) {
  char text[16];
  snprintf(text, sizeof text, "%x", number);
  return text;
}

static std::string Written(const host::RegistryTree& tree) {
  std::string text = "REGEDIT4\n";
  for (const auto& [path, values] : tree) {
    text += "[" + path + "]\n";
    for (const auto& [name, value] : values) {
      text += '"';
      for (const char each : name) {
        text += each == '"' || each == '\\' ? std::string("\\") + each : std::string(1, each);
      }
      text += "\"=hex(" + Hex(value.type) + "):";
      for (const char each : value.data) {
        text += Hex(static_cast<unsigned char>(each)) + ',';
      }
      text += '\n';
    }
  }
  return text;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const host::RegistryTree tree =
      host::ParseRegistryText({reinterpret_cast<const char*>(data), size});
  for (const auto& [path, values] : tree) {
    const size_t above = path.rfind('\\');
    Check(path == host::FoldedName(path));
    Check(above == std::string::npos || tree.count(path.substr(0, above)) == 1);
  }
  const std::string text = Written(tree);
  Check(Written(host::ParseRegistryText(text)) == text);
  return 0;
}
