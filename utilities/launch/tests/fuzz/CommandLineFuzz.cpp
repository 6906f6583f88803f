// The splitting of a command line, held against the rules of the Microsoft C runtime written down a
// second time. Input: a command line up to the first NUL.
#include "Check.h"
#include "host/CommandLineText.h"

// Arguments are delimited by white space, except inside a quoted string. A double quotation mark
// after a backslash is literal. Backslashes are literal unless they precede a double quotation
// mark: then each pair is one, and an odd one more makes the mark literal. Inside a quoted string
// two double quotation marks are a literal one. In the program's name backslashes have no such
// meaning.
static std::vector<std::string> SplitByTheRules(const std::string& line) {
  std::vector<std::string> arguments = {""};
  bool isProgram = true, isQuoted = false, isInside = true;
  size_t slashes = 0;  // that the last characters were
  for (size_t at = 0; at < line.size(); ++at) {
    const char each = line[at];
    if ((each == ' ' || each == '\t') && !isQuoted) {
      isInside = isProgram = false;
      slashes = 0;
      continue;
    }
    std::string& argument = isInside ? arguments.back() : arguments.emplace_back();
    isInside = true;
    const bool isMark = each == '"', isEscaped = !isProgram && slashes % 2 == 1;
    const bool isPair = isQuoted && !isProgram && !isEscaped && line.substr(at, 2) == "\"\"";
    if (isMark && !isProgram) argument.resize(argument.size() - slashes + slashes / 2);
    if (!isMark || isEscaped || isPair) {
      argument += each;
      at += isPair ? 1 : 0;
    } else {
      isQuoted = !isQuoted;
    }
    slashes = each == '\\' ? slashes + 1 : 0;
  }
  return arguments;
}

void Try(std::string_view input) {
  const std::string line = std::string(input).c_str();
  Check(host::SplitCommandLine(line) == SplitByTheRules(line));
}
