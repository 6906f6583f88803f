// A command line: what is not taken out is what was typed. Input: arguments, separated by NULs.
#include <algorithm>

#include "Check.h"
#include "CommandLineParameters.h"
#include "java/JavaInvocation.h"

using Texts = std::vector<std::string>;

namespace {

std::string NameOf(const std::string& argument) {
  return argument.substr(0, argument.find('='));
}

// True when the first argument of that name was found, and removed from the list.
bool TakeOut(Texts& arguments, const std::string& name) {
  const auto found = std::find_if(arguments.begin(), arguments.end(),
                                  [&](const std::string& each) { return NameOf(each) == name; });
  if (found == arguments.end()) {
    return false;
  }
  arguments.erase(found);
  return true;
}

Texts Remaining(CommandLineParameters& parameters) {
  Texts texts;
  for (size_t i = 0; i < parameters.GetCount(); ++i) {
    texts.push_back(parameters.GetAt(i).ToText());
  }
  return texts;
}

void CheckResolved(CommandLineParameters& parameters, const std::string& name) {
  const std::string before = parameters.Get(name).m_Value;
  parameters.ResolvePath(name, "base", true);
  const std::string after = parameters.Get(name).m_Value;
  const bool isAbsolute = before.find_first_of("/\\") == 0 || before.find(':', 1) == 1;
  CHECK(after == (before.size() < 3 || isAbsolute ? before : "base/" + before));
}

}  // namespace

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
  CHECK(options == Texts(jvmOptions, arguments.end()));
  const Texts effective = EffectiveOptions(options);
  CHECK(std::count_if(effective.begin(), effective.end(),
                      [](const std::string& option) { return option.rfind("-Xmx", 0) == 0; }) <= 1);

  arguments.erase(jvmOptions, arguments.end());
  if (!TakeOut(arguments, "--vok")) {
    TakeOut(arguments, "--jar");
  }
  TakeOut(arguments, "--debug");
  TakeOut(arguments, "--assistant");
  CHECK(Remaining(parameters) == arguments);
  for (const std::string& directory : parameters.GetJarSearchPaths()) {
    CHECK(!directory.empty() && (directory.back() == '/' || directory.back() == '\\'));
  }
  for (const std::string& argument : arguments) {
    CheckResolved(parameters, NameOf(argument));
  }
  return 0;
}
