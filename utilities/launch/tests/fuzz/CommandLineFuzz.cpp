// The splitting of a command line, held against the rules as the Microsoft C runtime's documents
// state them, and against the quoting that they undo. Input: a command line up to the first NUL.
#include <string>
#include <vector>

#include "Check.h"
#include "host/CommandLineText.h"
#include "platform/Exec.h"

using Texts = std::vector<std::string>;

namespace {

// Arguments are delimited by white space, except inside a quoted string. A double quotation mark
// after a backslash is literal. Backslashes are literal unless they precede a double quotation
// mark: then each pair is one, and an odd one more makes the mark literal. Inside a quoted string
// two double quotation marks are a literal one. In the program's name backslashes have no such
// meaning.
Texts SplitByTheRules(const std::string& line) {
  Texts arguments = {""};
  bool isProgram = true, isQuoted = false, isInside = true;
  size_t slashes = 0;  // that the last characters were
  for (size_t at = 0; at < line.size(); ++at) {
    const char each = line[at];
    if ((each == ' ' || each == '\t') && !isQuoted) {
      isInside = isProgram = false;
      slashes = 0;
      continue;
    }
    if (!isInside) {
      arguments.emplace_back();
      isInside = true;
    }
    std::string& argument = arguments.back();
    if (each != '"') {
      argument += each;
    } else if (isProgram) {
      isQuoted = !isQuoted;
    } else {
      argument.resize(argument.size() - slashes + slashes / 2);
      if (slashes % 2 == 1) {
        argument += '"';
      } else if (isQuoted && line.substr(at, 2) == "\"\"") {
        argument += '"';
        ++at;
      } else {
        isQuoted = !isQuoted;
      }
    }
    slashes = each == '\\' ? slashes + 1 : 0;
  }
  return arguments;
}

std::string Quoted(const std::string& argument) {
  std::string text = "\"";
  size_t slashes = 0;
  for (const char each : argument) {
    text += each == '"' ? std::string(slashes + 1, '\\') + each : std::string(1, each);
    slashes = each == '\\' ? slashes + 1 : 0;
  }
  return text + std::string(slashes, '\\') + '"';
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string line = std::string(reinterpret_cast<const char*>(data), size).c_str();
  const Texts arguments = host::SplitCommandLine(line);
  CHECK(arguments == SplitByTheRules(line));
  std::string quoted = "program";
  for (const std::string& argument : arguments) {
    quoted += ' ' + Quoted(argument);
  }
  Texts expected = arguments;
  expected.insert(expected.begin(), "program");
  CHECK(host::SplitCommandLine(quoted) == expected);
  // The launcher's own quoting holds for every argument without quotes and backslashes.
  if (line.find_first_of("\"\\") == std::string::npos && line.find_first_of("\t") != 0) {
    CHECK(host::SplitCommandLine(BuildCommandLine({"my program", "a " + line})) ==
          (Texts{"my program", "a " + line}));
  }
  return 0;
}
