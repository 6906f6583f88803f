#pragma once
// An ordered map of strings with a one-line text form, which carries the status of the Assistant
// and the environment of the launcher: name=value entries in byte order of their names, joined by
// "|". Line feed, "%", "=" and "|" in names and values are written as "%" and two lower-case
// hexadecimal digits.

#include <map>
#include <string>
#include <string_view>

class PropertyMap {
 public:
  // Adds the entries of a text form; later ones replace earlier ones of the same name. Segments
  // without "=" are ignored.
  void Parse(std::string_view text);

  std::string Format() const;

  void SetProperty(std::string name, std::string value);

  // An unknown name returns "" and is added to the map with that value.
  std::string GetProperty(const std::string& name);

 private:
  std::map<std::string, std::string> m_Properties;
};

void EscapeProperty(std::string& out, std::string_view text);

// A "%" before fewer than two characters is literal. An invalid hex digit counts as 0.
std::string UnescapeProperty(std::string_view range);
