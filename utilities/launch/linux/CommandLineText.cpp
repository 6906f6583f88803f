#include "CommandLineText.h"

#include <algorithm>

namespace linux {

std::vector<std::string> SplitCommandLine(std::string_view line) {
  std::vector<std::string> arguments;
  std::size_t at = 0;
  const auto isAt = [&](char c) { return at < line.size() && line[at] == c; };
  const auto skip = [&](const char* characters) {
    at = std::min(line.find_first_not_of(characters, at), line.size());
  };
  do {
    std::string& argument = arguments.emplace_back();
    const bool isProgram = arguments.size() == 1;
    bool isQuoted = false;
    while (at < line.size() && (isQuoted || (!isAt(' ') && !isAt('\t')))) {
      // 2n backslashes before a quote mean n; one more makes the quote literal, as does a second
      // quote inside quotes. The program's name has no escapes.
      const std::size_t begin = at;
      if (!isProgram) {
        skip("\\");
      }
      const std::size_t slashes = at - begin;
      if (!isAt('"')) {
        at += slashes == 0 ? 1 : 0;
        argument += line.substr(begin, at - begin);
        continue;
      }
      ++at;
      argument.append(slashes / 2, '\\');
      if (slashes % 2 != 0) {
        argument += '"';
      } else if (isQuoted && !isProgram && isAt('"')) {
        argument += line[at++];
      } else {
        isQuoted = !isQuoted;
      }
    }
    skip(" \t");
  } while (at < line.size());
  return arguments;
}

void AdaptJavaOption(std::string& option) {
  if (option.rfind("-Djava.class.path=", 0) == 0) {
    std::replace(option.begin(), option.end(), ';', ':');
    std::replace(option.begin(), option.end(), '\\', '/');
  }
}

}  // namespace linux
