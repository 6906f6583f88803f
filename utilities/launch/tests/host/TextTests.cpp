// Command lines and registry text.
#include <gmock/gmock.h>

#include "CommandLineText.h"
#include "RegistryText.h"

using testing::ElementsAreArray;
using Texts = std::vector<std::string>;

TEST(CommandLine, IsSplitByTheRulesOfTheMicrosoftRuntime) {
  const struct {
    const char* line;
    Texts arguments;
  } rows[] = {
      // The program's name: quotes only, backslashes as they are.
      {"", {""}},
      {"java", {"java"}},
      {"\"C:\\a b\\\" x", {"C:\\a b\\", "x"}},
      {"a\"b c\"d e", {"ab cd", "e"}},
      {"\\\"a b\" c", {"\\a b", "c"}},
      {" x", {"", "x"}},
      // The table of the runtime's own documentation.
      {"p \"abc\" d e", {"p", "abc", "d", "e"}},
      {"p a\\\\b d\"e f\"g h", {"p", "a\\\\b", "de fg", "h"}},
      {"p a\\\\\\\"b c d", {"p", "a\\\"b", "c", "d"}},
      {"p a\\\\\\\\\"b c\" d e", {"p", "a\\\\b c", "d", "e"}},
      {"p a\"b\"\" c d", {"p", "ab\" c d"}},
      // Blanks, empty arguments, quotes that never close, doubled quotes.
      {"p \t a\t\tb ", {"p", "a", "b"}},
      {"p \"\" \"\"", {"p", "", ""}},
      {"p \"a", {"p", "a"}},
      {"p \"a \"\"b\"\" c\"", {"p", "a \"b\" c"}},
      {"p \"\"\"a\"\"\" b", {"p", "\"a\"", "b"}},
      {"p a\\ \\\\ \"\\\\\"", {"p", "a\\", "\\\\", "\\"}},
      {"p \\\"\\\" \\", {"p", "\"\"", "\\"}},
      {"p a\nb 'c d'", {"p", "a\nb", "'c", "d'"}},
  };
  for (const auto& row : rows) {
    EXPECT_THAT(host::SplitCommandLine(row.line), ElementsAreArray(row.arguments)) << row.line;
  }
}

namespace {

constexpr char kKey[] = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n";

// "type:bytes" of the value "v", with NUL as 0; "-" when there is none.
std::string ValueOf(const std::string& text) {
  host::RegistryTree tree = host::ParseRegistryText(text);
  const host::RegistryKey& key = tree["hkey_local_machine\\software\\a"];
  const auto value = key.find("v");
  if (value == key.end()) {
    return "-";
  }
  std::string bytes = value->second.data;
  for (char& c : bytes) {
    c = c == '\0' ? '0' : c;
  }
  return std::to_string(value->second.type) + ":" + bytes;
}

std::string Utf16(const std::string& ascii) {
  std::string wide = "\xFF\xFE";
  for (const char c : ascii) {
    wide += c;
    wide += '\0';
  }
  return wide;
}

}  // namespace

TEST(RegistryText, ValuesHaveTheirFormsAndMalformedLinesNone) {
  const std::string version4 = std::string("REGEDIT4\n\n") + kKey;
  const std::string version5 = std::string("Windows Registry Editor Version 5.00\n\n") + kKey;
  const std::pair<std::string, std::string> rows[] = {
      {version4 + "\"v\"=\"a\"", "1:a0"},
      {version4 + "  \"V\" = \"a b\"  \r\n", "1:a b0"},
      {version4 + "\"v\"=\"C:\\\\d\\\\\\\"q\\\"\"", "1:C:\\d\\\"q\"0"},
      {version4 + "\"v\"=\"first\"\n\"v\"=\"second\"", "1:second0"},
      {version4 + "\"v\"=dword:00636261", std::string("4:abc0")},
      {version4 + "\"v\"=hex:61,62", "3:ab"},
      {version4 + "\"v\"=hex(2):61,\\\n  62,\\\r\n  00", "2:ab0"},
      {version5 + "\"v\"=hex(2):61,00,e9,00,00,00",
       "2:a\xC3\xA9"
       "0"},
      {version5 + "\"v\"=hex(1):3d,d8,00,de,00,d8", "1:\xF0\x9F\x98\x80\xEF\xBF\xBD"},
      {version5 + "\"v\"=hex(2):", "2:"},
      {"\xEF\xBB\xBF" + version4 + "\"v\"=\"a\"", "1:a0"},
      {Utf16(version5 + "\"v\"=\"a\""), "1:a0"},
      {Utf16(version5 + "\"v\"=\"a\"") + "x", "1:a0"},
      // Malformed: the line is skipped, what stood before and after holds.
      {version4 +
           "\"v\"=\"good\"\n\"v\"=\"bad\n\"v\"=\"bad\\x\"\n\"v\"=\"bad\" x\n\"v\"=bad\nv=\"bad\"\n"
           "\"v\"=dword:\n\"v\"=dword:xyz\n\"v\"=dword:123456789\n\"v\"=hex:6\\1\n\"v\"=hex(z):61\n"
           "\"v\"=hex:61 62\n\"v\"=-\n\"v\n=\n\"v\"\n;\"v\"=\"bad\"\n\x01\xFF garbage\n",
       "1:good0"},
      {version4 + "\"v\"=\"bad\\\n\"v\"=\"good\"", "1:good0"},
      {version4 + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\B\n\"v\"=\"lost\"", "-"},
      {version4 + "[-HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n\"v\"=\"lost\"", "-"},
      {"\"v\"=\"lost\"\n" + version4, "-"},
      {"", "-"},
      {version4 + "\"v\"=hex:61,\\", "3:a"},
  };
  for (const auto& [text, value] : rows) {
    EXPECT_EQ(ValueOf(text), value) << text;
  }
  const host::RegistryTree tree = host::ParseRegistryText(version4);
  EXPECT_EQ(tree.count("hkey_local_machine\\software"), 1u);
  EXPECT_EQ(tree.size(), 3u);
}
