// A command line: what is not taken out is what was typed. Input: arguments, separated by NULs.
#include <algorithm>

#include "Check.h"
#include "CommandLineParameters.h"

using Texts = std::vector<std::string>;

static std::string NameOf(const std::string& argument) {
  return argument.substr(0, argument.find('='));
}

// True when the first argument of that name was found, and removed from the list.
static bool TakeOut(Texts& arguments, const std::string& name) {
  const auto found = std::find_if(arguments.begin(), arguments.end(),
                                  [&](const std::string& each) { return NameOf(each) == name; });
  if (found == arguments.end()) {
    return false;
  }
  arguments.erase(found);
  return true;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Texts arguments = Split(std::string(reinterpret_cast<const char*>(data), size), '\0');
  std::vector<const char*> argv = {"Torvel"};
  for (const std::string& argument : arguments) {
    argv.push_back(argument.c_str());
  }
  CommandLineParameters parameters;
  parameters.Parse(static_cast<int>(argv.size()), argv.data());

  const auto jvmOptions = std::stable_partition(
      arguments.begin(), arguments.end(),
      [](const std::string& argument) { return NameOf(argument).rfind("-X", 0) != 0; });
  Texts options;
  parameters.GetJvmOptions(options);
  Check(options == Texts(jvmOptions, arguments.end()));
  arguments.erase(jvmOptions, arguments.end());
  if (!TakeOut(arguments, "--vok")) {
    TakeOut(arguments, "--jar");
  }
  TakeOut(arguments, "--debug");
  TakeOut(arguments, "--assistant");
  Check(parameters.GetCount() == arguments.size());
  for (size_t i = 0; i < arguments.size(); ++i) {
    Check(parameters.GetAt(i).ToText() == arguments[i]);
  }
  for (const std::string& directory : parameters.GetJarSearchPaths()) {
    Check(directory.find_last_of("/\\") + 1 == directory.size());
  }
  for (const std::string& argument : arguments) {
    const std::string name = NameOf(argument), before = parameters.Get(name).m_Value;
    parameters.ResolvePath(name, "base", true);
    const bool isAbsolute = before.find_first_of("/\\") == 0 || before.find(':', 1) == 1;
    Check(parameters.Get(name).m_Value ==
          (before.size() < 3 || isAbsolute ? before : "base/" + before));
  }
  return 0;
}
