#include "assistant/PropertyMap.h"

#include <cctype>
#include <utility>

namespace {

bool NeedsEscape(char character) {
  return character == '\n' || character == '%' || character == '=' || character == '|';
}

int HexDigitValue(char character) {
  const int lower = tolower(static_cast<unsigned char>(character));
  if (lower >= '0' && lower <= '9') {
    return lower - '0';
  }
  if (lower >= 'a' && lower <= 'f') {
    return lower - 'a' + 10;
  }
  return 0;
}

}  // namespace

// Copies whole runs: an environment has tens of thousands of characters, few of them escaped.
void EscapeProperty(std::string& out, std::string_view text) {
  static const char kHexDigits[] = "0123456789abcdef";
  size_t begin = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (NeedsEscape(text[i])) {
      out.append(text, begin, i - begin);
      out += '%';
      out += kHexDigits[text[i] >> 4];
      out += kHexDigits[text[i] & 15];
      begin = i + 1;
    }
  }
  out.append(text, begin);
}

std::string UnescapeProperty(std::string_view range) {
  std::string text;
  text.reserve(range.size());
  for (size_t i = 0; i < range.size(); ++i) {
    if (range[i] == '%' && range.size() - i > 2) {
      text += static_cast<char>(16 * HexDigitValue(range[i + 1]) + HexDigitValue(range[i + 2]));
      i += 2;
    } else {
      text += range[i];
    }
  }
  return text;
}

void PropertyMap::Parse(std::string_view text) {
  while (!text.empty()) {
    const size_t end = text.find('|');
    const std::string_view segment = text.substr(0, end);
    const size_t equals = segment.find('=');
    if (equals != std::string_view::npos) {
      SetProperty(UnescapeProperty(segment.substr(0, equals)),
                  UnescapeProperty(segment.substr(equals + 1)));
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

std::string PropertyMap::Format() const {
  std::string text;
  for (const auto& [name, value] : m_Properties) {
    if (!text.empty()) {
      text += '|';
    }
    EscapeProperty(text, name);
    text += '=';
    EscapeProperty(text, value);
  }
  return text;
}

void PropertyMap::SetProperty(std::string name, std::string value) {
  m_Properties.insert_or_assign(std::move(name), std::move(value));
}

std::string PropertyMap::GetProperty(const std::string& name) {
  return m_Properties[name];
}
