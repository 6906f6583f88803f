// The registry's text form: what was read, written out and read again, is the same.
#include <stdio.h>

#include "Check.h"
#include "host/RegistryText.h"

namespace {

std::string Hex(unsigned number, const char* format) {
  char text[16];
  snprintf(text, sizeof text, format, number);
  return text;
}

std::string Written(const host::RegistryTree& tree) {
  std::string text = "REGEDIT4\n";
  for (const auto& [path, values] : tree) {
    text += "[" + path + "]\n";
    for (const auto& [name, value] : values) {
      text += '"';
      for (const char each : name) {
        text += each == '"' || each == '\\' ? std::string("\\") + each : std::string(1, each);
      }
      text += "\"=hex(" + Hex(value.type, "%x") + "):";
      for (size_t i = 0; i < value.data.size(); ++i) {
        text += (i == 0 ? "" : ",") + Hex(static_cast<unsigned char>(value.data[i]), "%02x");
      }
      text += '\n';
    }
  }
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const host::RegistryTree tree =
      host::ParseRegistryText({reinterpret_cast<const char*>(data), size});
  for (const auto& [path, values] : tree) {
    CHECK(path == host::FoldedName(path));
    const size_t above = path.rfind('\\');
    CHECK(above == std::string::npos || tree.count(path.substr(0, above)) == 1);
    for (const auto& [name, value] : values) {
      CHECK(name == host::FoldedName(name));
    }
  }
  const std::string text = Written(tree);
  CHECK(Written(host::ParseRegistryText(text)) == text);
  return 0;
}
