// Texts that the layer reads or adapts: registry files, Java options.
#include <gmock/gmock.h>

#include <algorithm>

#include "JavaRuntime.h"
#include "RegistryText.h"

using testing::ElementsAreArray;
using Texts = std::vector<std::string>;

TEST(Java, OptionsAreAdaptedUpToTheClassName) {
  const std::string retired = "-XX:+UseConcMarkSweepGC";
  for (const int version : {0, 13, 14}) {
    Texts arguments = {"java", "-Djava.class.path=a;b c", retired, "Main", "-Djava.class.path=e;f"};
    Texts expected = arguments;
    expected[1] = "-Djava.class.path=a:b c";
    if (version >= 14) expected.erase(expected.begin() + 2);
    host::AdaptJavaArguments(arguments, version);
    EXPECT_THAT(arguments, ElementsAreArray(expected)) << version;
  }
}

TEST(RegistryText, ValuesHaveTheirFormsAndMalformedLinesNone) {
  const std::string key = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\A]\n";
  const std::string bytes = "REGEDIT4\n\n" + key;
  const std::string wide = "Windows Registry Editor Version 5.00\n\n" + key;
  std::string utf16 = "\xFF\xFE";
  for (const char c : wide + "\"v\"=\"a\"") {
    utf16 += {c, '\0'};
  }
  // The value as its name, type and bytes, with NUL as 0.
  const std::pair<std::string, std::string> rows[] = {
      {bytes + "  \"V\" = \"a b\"  \r\n", "v=1:a b0"},
      {bytes + "\"v\"=\"C:\\\\d\\\\\\\"q\\\"\"", "v=1:C:\\d\\\"q\"0"},
      {bytes + "\"v\"=dword:00636261", "v=4:abc0"},
      {bytes + "\"v\"=hex(2):61,\\\n  62,\\\r\n  00", "v=2:ab0"},
      {wide + "\"v\"=hex(2):61,00,e9,00,00,00", "v=2:a\xC3\xA9" + std::string("0")},
      {wide + "\"v\"=hex(1):3d,d8,00,de,00,d8", "v=1:\xF0\x9F\x98\x80\xEF\xBF\xBD"},
      {utf16, "v=1:a0"},
      // Malformed: the line is skipped, what stood before and after holds.
      {bytes +
           "\"v\"=\"good\"\n\"v\"=\"bad\n\"v\"=\"bad\" x\n\"v\"=bad\nv=\"bad\"\n\"v\"=dword:xyz\n"
           "\"v\"=hex:6\\1\n\"v\"=hex(z):61\n\"v\"=-\n\"v\n=\n;\"v\"=\"bad\"\n\x01\xFF garbage\n",
       "v=1:good0"},
      {bytes + "[HKEY_LOCAL_MACHINE\\SOFTWARE\\B\n\"v\"=\"lost\"", ""},
      {"\"v\"=\"lost\"\n" + bytes, ""}};
  for (const auto& [text, expected] : rows) {
    host::RegistryTree tree = host::ParseRegistryText(text);
    std::string value;
    for (const auto& [name, found] : tree["hkey_local_machine\\software\\a"]) {
      value += name + "=" + std::to_string(found.type) + ":" + found.data;
    }
    std::replace(value.begin(), value.end(), '\0', '0');
    EXPECT_EQ(value, expected) << text;
  }
}
