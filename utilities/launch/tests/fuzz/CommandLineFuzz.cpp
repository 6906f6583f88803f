// The splitting of a command line: what was put in quotes by the Microsoft C runtime's rules comes
// out again, and no other line breaks it. Input: arguments, each up to a NUL.
#include "Check.h"
#include "host/CommandLineText.h"

// Every quote behind a backslash, and the backslashes before a quote doubled.
static std::string Quoted(std::string_view argument) {
  std::string text = "\"";
  size_t slashes = 0;  // that the last characters were
  for (const char each : argument) {
    if (each == '"') text.append(slashes + 1, '\\');
    text += each;
    slashes = each == '\\' ? slashes + 1 : 0;
  }
  return text.append(slashes, '\\') + '"';
}

void Try(std::string_view input) {
  std::vector<std::string> arguments = {"a program"};
  std::string line = "\"a program\"";
  for (size_t end = 0; end != std::string_view::npos;
       input.remove_prefix(std::min(end, input.size()) + (end < input.size()))) {
    end = input.find('\0');
    arguments.emplace_back(input.substr(0, end));
    line += " \t " + Quoted(arguments.back());
  }
  Check(host::SplitCommandLine(line) == arguments);
  for (const std::string& each : arguments) host::SplitCommandLine(each);
}
