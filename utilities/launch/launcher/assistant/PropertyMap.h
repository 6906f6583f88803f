#pragma once
// An ordered map from text to text with a one-line text form, in which the Assistant tells its
// state and the launcher its environment: name=value entries in byte order of their names, joined
// by "|". Line feed, "%", "=" and "|" inside a name or value are written as "%" and two lower-case
// hexadecimal digits.

#include <map>
#include <string>
#include <string_view>

class PropertyMap {
 public:
  // Adds the entries of a text form; a later one replaces an earlier one of the same name. Segments
  // without "=" are ignored.
  void Parse(std::string_view text);

  std::string Format() const;

  void SetProperty(std::string name, std::string value);

  // An unknown name gives the empty text, and is in the map with that value from then on.
  std::string GetProperty(const std::string& name);

 private:
  std::map<std::string, std::string> m_Properties;
};

void EscapeProperty(std::string& out, std::string_view text);

// A "%" that fewer than two characters follow stands for itself; a digit that is none counts 0.
std::string UnescapeProperty(std::string_view range);
