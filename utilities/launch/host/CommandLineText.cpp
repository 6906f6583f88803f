#include "CommandLineText.h"

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

// In the program's name a quote only switches quoting and a backslash means itself.
std::string TakeProgram(std::string_view& line) {
  std::string program;
  bool isQuoted = false;
  std::size_t at = 0;
  for (; at < line.size() && (isQuoted || !IsBlank(line[at])); ++at) {
    if (line[at] == '"') {
      isQuoted = !isQuoted;
    } else {
      program += line[at];
    }
  }
  line.remove_prefix(at);
  return program;
}

// Elsewhere backslashes before a quote stand for half as many; an odd one makes the quote literal,
// and so does a second quote inside quotes.
std::string TakeArgument(std::string_view& line) {
  std::string argument;
  bool isQuoted = false;
  std::size_t at = 0;
  while (at < line.size() && (isQuoted || !IsBlank(line[at]))) {
    std::size_t slashes = 0;
    while (at < line.size() && line[at] == '\\') {
      ++slashes;
      ++at;
    }
    if (at == line.size() || line[at] != '"') {
      argument.append(slashes, '\\');
      if (slashes == 0) {
        argument += line[at++];
      }
      continue;
    }
    argument.append(slashes / 2, '\\');
    if (slashes % 2 != 0) {
      argument += '"';
    } else if (isQuoted && at + 1 < line.size() && line[at + 1] == '"') {
      argument += '"';
      ++at;
    } else {
      isQuoted = !isQuoted;
    }
    ++at;
  }
  line.remove_prefix(at);
  return argument;
}

}  // namespace

namespace host {

std::vector<std::string> SplitCommandLine(std::string_view line) {
  std::vector<std::string> arguments{TakeProgram(line)};
  for (;;) {
    while (!line.empty() && IsBlank(line.front())) {
      line.remove_prefix(1);
    }
    if (line.empty()) {
      return arguments;
    }
    arguments.push_back(TakeArgument(line));
  }
}

}  // namespace host
