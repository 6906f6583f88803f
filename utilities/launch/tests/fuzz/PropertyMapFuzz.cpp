// The text form there and back. Input: a text form, which also serves as names and values by turns,
// each up to a line feed.
#include "Check.h"
#include "CommandLineParameters.h"
#include "platform/Text.h"
#include "assistant/PropertyMap.h"

void Try(std::string_view input) {
  std::string escaped;
  EscapeProperty(escaped, input);
  Check(escaped.find_first_of("\n=|") == std::string::npos);
  Check(UnescapeProperty(escaped) == input);
  PropertyMap map;
  map.Parse(input);
  const std::vector<std::string> texts = Split(std::string(input), '\n');
  for (size_t i = 1; i < texts.size(); i += 2) map.SetProperty(texts[i - 1], texts[i]);
  const std::string text = map.Format();
  PropertyMap copy;
  copy.Parse(text);
  Check(copy.Format() == text);
  for (size_t i = 1; i < texts.size(); i += 2) {
    Check(copy.GetProperty(texts[i - 1]) == map.GetProperty(texts[i - 1]));
  }
  Check(copy.Format() == text);  // so every name was there
}
