// What the fakes share: a record of what was done to them and a scenario that says how to behave.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

// Appends one line to the file that the environment variable names; opened each time, so that a
// killed process loses nothing.
inline void Record(const char* variable, const std::string& line) {
  const char* path = std::getenv(variable);
  std::FILE* file = path == nullptr ? nullptr : std::fopen(path, "ab");
  if (file == nullptr) return;
  std::fprintf(file, "%s\n", line.c_str());
  std::fclose(file);
}

// The scenario is a comma-separated list of words, each `name` or `name=value`, in the environment
// variable. Returns the value of a word ("" when it has none), or nothing when the word is not
// there.
inline std::optional<std::string> Scenario(const char* variable, const std::string& name) {
  const char* text = std::getenv(variable);
  std::istringstream words(text == nullptr ? "" : text);
  for (std::string word; std::getline(words, word, ',');) {
    if (word == name) return "";
    if (word.compare(0, name.size() + 1, name + "=") == 0) return word.substr(name.size() + 1);
  }
  return std::nullopt;
}
