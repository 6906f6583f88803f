// What the fakes share: a log of the calls to them and a scenario that selects their behaviour.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

// Appends one line to the file that the environment variable names. The file is opened each time,
// so that a killed process loses nothing.
inline void Record(const char* variable, const std::string& line) {
  if (const char* path = std::getenv(variable))
    std::ofstream(path, std::ios::app | std::ios::binary) << line << '\n';
}

// The scenario is a comma-separated list of `name` or `name=number` in the environment variable.
// Returns the number of a name (0 when it has none), or nothing when the name is not there.
inline std::optional<int> Scenario(const char* variable, const std::string& name) {
  const char* text = std::getenv(variable);
  std::istringstream words(text == nullptr ? "" : text);
  for (std::string word; std::getline(words, word, ',');) {
    if (word == name) return 0;
    if (word.compare(0, name.size() + 1, name + "=") == 0)
      return std::stoi(word.substr(name.size() + 1));
  }
  return std::nullopt;
}

inline void Pause(std::optional<int> milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds.value_or(0)));
}
