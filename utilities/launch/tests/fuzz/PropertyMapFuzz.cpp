// The text form there and back. Input: a text form; or, after a NUL, names and values by turns,
// each ended by a NUL.
#include <algorithm>
#include <map>
#include <string>

#include "Check.h"
#include "assistant/PropertyMap.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  PropertyMap map;
  std::map<std::string, std::string> properties;
  if (input.empty() || input[0] != '\0') {
    map.Parse(input);
  }
  for (size_t at = 1; !input.empty() && input[0] == '\0' && at < size;) {
    const std::string name = input.substr(at, input.find('\0', at) - at);
    const std::string value = input.substr(std::min(size, at + name.size() + 1)).c_str();
    map.SetProperty(name, value);
    properties[name] = value;
    at += name.size() + value.size() + 2;
  }
  const std::string text = map.Format();
  PropertyMap copy;
  copy.Parse(text);
  CHECK(copy.Format() == text);
  CHECK(text.find('\n') == std::string::npos);
  for (const auto& [name, value] : properties) {
    CHECK(copy.GetProperty(name) == value);
  }
  CHECK(copy.Format() == text);  // nothing was asked for that is not there

  std::string escaped;
  EscapeProperty(escaped, input);
  CHECK(escaped.find_first_of("\n=|") == std::string::npos);
  CHECK(UnescapeProperty(escaped) == input);
  CHECK(UnescapeProperty(input).size() <= size);
  return 0;
}
