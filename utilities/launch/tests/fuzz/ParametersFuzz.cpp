// A command line: what is not taken out is what was typed. Input: arguments, separated by NULs.
#include <set>

#include "Check.h"
#include "CommandLineParameters.h"
#include "platform/Text.h"

static std::string NameOf(const std::string& argument) {
  return argument.substr(0, argument.find('='));
}

void Try(std::string_view input) {
  const std::vector<std::string> typed = Split(std::string(input), '\0');
  std::vector<const char*> argv = {"Torvel"};
  bool hasVok = false;
  for (const std::string& argument : typed) {
    argv.push_back(argument.c_str());
    hasVok = hasVok || NameOf(argument) == "--vok";
  }
  CommandLineParameters parameters;
  parameters.Parse(static_cast<int>(argv.size()), argv.data());

  std::vector<std::string> options;
  parameters.GetJvmOptions(options);
  std::set<std::string> takenOnce = {"--debug", "--assistant", hasVok ? "--vok" : "--jar"};
  size_t option = 0, place = 0;
  for (const std::string& argument : typed) {
    if (argument.rfind("-X", 0) == 0) {
      Check(option < options.size() && options[option++] == argument);
    } else if (takenOnce.erase(NameOf(argument)) == 0) {
      Check(place < parameters.GetCount() && parameters.GetAt(place++).ToText() == argument);
    }
  }
  Check(option == options.size() && place == parameters.GetCount());
  for (const std::string& directory : parameters.GetJarSearchPaths()) {
    Check(directory.find_last_of("/\\") + 1 == directory.size());
  }
  for (size_t i = 0; i < place; ++i) {
    const std::string name = parameters.GetAt(i).m_Name, value = parameters.Get(name).m_Value;
    parameters.ResolvePath(name, "base", true);
    const std::string resolved = parameters.Get(name).m_Value;
    Check(resolved == value || resolved == "base/" + value);
  }
}
