#include "RegistryText.h"

#include <cctype>
#include <optional>

namespace {

using host::RegistryKey;
using host::RegistryTree;
using host::RegistryValue;

constexpr DWORD kLastTextTypes[] = {REG_SZ, REG_EXPAND_SZ, 7};

void AppendUtf8(std::string& text, char32_t c) {
  const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
  if (c < 0x80) {
    append(c);
  } else if (c < 0x800) {
    append(0xC0 | c >> 6);
    append(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    append(0xE0 | c >> 12);
    append(0x80 | (c >> 6 & 0x3F));
    append(0x80 | (c & 0x3F));
  } else {
    append(0xF0 | c >> 18);
    append(0x80 | (c >> 12 & 0x3F));
    append(0x80 | (c >> 6 & 0x3F));
    append(0x80 | (c & 0x3F));
  }
}

// Little-endian; an odd last byte is dropped, half a surrogate pair becomes U+FFFD.
std::string Utf8FromUtf16(std::string_view bytes) {
  std::string text;
  const auto unit = [&](std::size_t at) -> char32_t {
    return static_cast<unsigned char>(bytes[at]) |
           static_cast<char32_t>(static_cast<unsigned char>(bytes[at + 1])) << 8;
  };
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    char32_t c = unit(at);
    const bool isHigh = c >= 0xD800 && c < 0xDC00;
    const char32_t low = isHigh && at + 3 < bytes.size() ? unit(at + 2) : 0;
    if (low >= 0xDC00 && low < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
      at += 2;
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;
    }
    AppendUtf8(text, c);
  }
  return text;
}

std::string_view Trimmed(std::string_view text) {
  constexpr char kBlanks[] = " \t\r";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  return begin == std::string_view::npos
             ? std::string_view()
             : text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return Trimmed(line);
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) {
    return false;
  }
  text.remove_prefix(prefix.size());
  return true;
}

// A text in quotes, in which a backslash stands before a quote or another backslash.
std::optional<std::string> TakeQuoted(std::string_view& text) {
  if (!TakePrefix(text, "\"")) {
    return std::nullopt;
  }
  std::string value;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '"') {
      text.remove_prefix(at + 1);
      return value;
    }
    if (text[at] == '\\' && (++at == text.size() || (text[at] != '\\' && text[at] != '"'))) {
      return std::nullopt;
    }
    value += text[at];
  }
  return std::nullopt;
}

// One to maxDigits hexadecimal digits.
std::optional<DWORD> TakeHex(std::string_view& text, std::size_t maxDigits) {
  DWORD value = 0;
  std::size_t digits = 0;
  while (digits < maxDigits && digits < text.size() &&
         std::isxdigit(static_cast<unsigned char>(text[digits])) != 0) {
    const int c = std::tolower(static_cast<unsigned char>(text[digits++]));
    value = value << 4 | static_cast<DWORD>(std::isdigit(c) != 0 ? c - '0' : c - 'a' + 10);
  }
  text.remove_prefix(digits);
  return digits > 0 ? std::optional<DWORD>(value) : std::nullopt;
}

// "xx,xx,..." to the end of the text.
std::optional<std::string> ParseBytes(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    const std::optional<DWORD> byte = TakeHex(text, 2);
    if (!byte || (!text.empty() && !TakePrefix(text, ","))) {
      return std::nullopt;
    }
    bytes += static_cast<char>(*byte);
    text = Trimmed(text);
  }
  return bytes;
}

class Parser {
 public:
  // True when the bytes of texts in hexadecimal form are UTF-16.
  explicit Parser(bool isWide) : m_IsWide(isWide) {}

  void Line(std::string_view line) {
    if (TakePrefix(line, "[")) {
      KeyLine(line);
    } else if (m_Key != nullptr) {
      ValueLine(line);
    }
  }
  RegistryTree Result() { return std::move(m_Tree); }

 private:
  void KeyLine(std::string_view line) {
    m_Key = nullptr;
    // A leading '-' deletes a key, which an export never does.
    if (line.size() > 1 && line.back() == ']' && line.front() != '-') {
      line.remove_suffix(1);
      m_Key = &host::AddKey(m_Tree, line);
    }
  }

  void ValueLine(std::string_view line) {
    std::optional<std::string> name;
    if (TakePrefix(line, "@")) {
      name = "";
    } else {
      name = TakeQuoted(line);
    }
    line = Trimmed(line);
    if (!name || !TakePrefix(line, "=")) {
      return;
    }
    if (std::optional<RegistryValue> value = ParseValue(Trimmed(line))) {
      (*m_Key)[host::FoldedName(*name)] = std::move(*value);
    }
  }

  std::optional<RegistryValue> ParseValue(std::string_view text) const {
    if (std::optional<std::string> quoted = TakeQuoted(text)) {
      quoted->push_back('\0');
      return text.empty() ? std::optional<RegistryValue>({REG_SZ, std::move(*quoted)})
                          : std::nullopt;
    }
    if (TakePrefix(text, "dword:")) {
      const std::optional<DWORD> number = TakeHex(text, 8);
      if (!number || !text.empty()) {
        return std::nullopt;
      }
      std::string bytes;
      for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(*number >> shift & 0xFF);
      }
      return RegistryValue{REG_DWORD, bytes};
    }
    return TakePrefix(text, "hex") ? ParseHexValue(text) : std::nullopt;
  }

  // ":bytes" or "(type):bytes".
  std::optional<RegistryValue> ParseHexValue(std::string_view text) const {
    std::optional<DWORD> type = REG_BINARY;
    if (TakePrefix(text, "(")) {
      type = TakeHex(text, 8);
      if (!TakePrefix(text, ")")) {
        return std::nullopt;
      }
    }
    if (!type || !TakePrefix(text, ":")) {
      return std::nullopt;
    }
    std::optional<std::string> bytes = ParseBytes(text);
    if (!bytes) {
      return std::nullopt;
    }
    bool isText = false;
    for (const DWORD textType : kLastTextTypes) {
      isText = isText || *type == textType;
    }
    return RegistryValue{*type, isText && m_IsWide ? Utf8FromUtf16(*bytes) : std::move(*bytes)};
  }

  const bool m_IsWide;
  RegistryTree m_Tree;
  RegistryKey* m_Key = nullptr;
};

// Hexadecimal data may go on in the next line, after a backslash.
bool IsContinued(std::string_view line) {
  return !line.empty() && line.back() == '\\' && line.find("=hex") != std::string_view::npos;
}

}  // namespace

namespace host {

std::string FoldedName(std::string_view name) {
  std::string folded(name);
  for (char& c : folded) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return folded;
}

RegistryKey& AddKey(RegistryTree& tree, std::string_view path) {
  const std::string folded = FoldedName(path);
  for (std::size_t end = folded.find('\\'); end != std::string::npos;
       end = folded.find('\\', end + 1)) {
    tree[folded.substr(0, end)];
  }
  return tree[folded];
}

void SetText(RegistryKey& key, std::string_view name, std::string_view text) {
  key[FoldedName(name)] = {REG_SZ, std::string(text) + '\0'};
}

RegistryTree ParseRegistryText(std::string_view bytes) {
  std::string converted;
  if (TakePrefix(bytes, "\xFF\xFE")) {
    converted = Utf8FromUtf16(bytes);
    bytes = converted;
  }
  TakePrefix(bytes, "\xEF\xBB\xBF");
  Parser parser(bytes.substr(0, 8) != "REGEDIT4");
  while (!bytes.empty()) {
    std::string line(TakeLine(bytes));
    while (IsContinued(line)) {
      line.pop_back();
      line += TakeLine(bytes);
    }
    parser.Line(line);
  }
  return parser.Result();
}

}  // namespace host
