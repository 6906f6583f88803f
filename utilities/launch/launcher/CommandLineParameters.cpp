#include "CommandLineParameters.h"

#include <algorithm>
#include <cstring>

#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace {

Parameter ParseArgument(const char* argument) {
  Parameter param;
  const char* equals = strchr(argument, '=');
  if (equals == nullptr) {
    param.m_Name = argument;
    return param;
  }
  param.m_HasValue = true;
  param.m_Name.assign(argument, equals);
  param.m_Value = equals + 1;
  return param;
}

// An empty entry of the search list means the workspace root.
std::string WithTrailingSeparator(const std::string& directory) {
  if (directory.empty()) {
    return "./";
  }
  return IsSeparator(directory.back()) ? directory : directory + '/';
}

bool NeedsBase(const std::string& path) {
  return path.size() > 2 && !IsSeparator(path[0]) && path[1] != ':';
}

[[noreturn]] void FailLookup(const std::string& name) {
  throw InternalError("Internal error: Parameter " + name + " not found");
}

}  // namespace

std::string Parameter::ToText() const {
  return m_HasValue ? m_Name + '=' + m_Value : m_Name;
}

CommandLineParameters::CommandLineParameters()
    : m_JarSearchPaths{"bin/", "Build/Torvel/", "build/torvel/", "build/torvel/bin/"},
      m_UseAssistant(GetEnv("TORVEL_ASSISTANT") != "0") {}

void CommandLineParameters::Parse(int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i) {
    if (argv[i] == nullptr) {
      continue;
    }
    Parameter param = ParseArgument(argv[i]);
    const bool isJvmOption = param.m_Name.compare(0, 2, "-X") == 0;
    (isJvmOption ? m_JvmOptions : m_Parameters).push_back(std::move(param));
  }
  m_HasBeenInitialised = true;
  ApplyLocationOptions();
  ApplyDebugOption();
  ApplyAssistantOption();
}

// Only the first option present counts; the others are passed to the command.
void CommandLineParameters::ApplyLocationOptions() {
  if (Exists("--vok")) {
    m_JarSearchPaths = {"VokTools/bin/"};
    Remove("--vok");
  } else if (Exists("--jar")) {
    m_JarSearchPaths = Split(Get("--jar").m_Value, ';');
    for (std::string& directory : m_JarSearchPaths) {
      directory = WithTrailingSeparator(directory);
    }
    Remove("--jar");
  } else if (Exists("--workspace")) {
    const std::string& workspace = Get("--workspace").m_Value;
    m_Workspace = workspace.empty() ? workspace : WithTrailingSeparator(workspace);
  }
}

void CommandLineParameters::ApplyDebugOption() {
  if (Exists("--debug")) {
    EnableDebug();
    Remove("--debug");
  }
}

void CommandLineParameters::ApplyAssistantOption() {
  if (Exists("--assistant")) {
    const Parameter& param = Get("--assistant");
    m_UseAssistant = !(param.m_HasValue && param.m_Value == "false");
    Remove("--assistant");
  }
}

std::vector<Parameter>::const_iterator CommandLineParameters::Find(const std::string& name) const {
  return std::find_if(m_Parameters.begin(), m_Parameters.end(),
                      [&name](const Parameter& param) { return param.m_Name == name; });
}

bool CommandLineParameters::Exists(const std::string& name) const {
  Assert(m_HasBeenInitialised, "m_HasBeenInitialised", "CommandLineParameters");
  return Find(name) != m_Parameters.end();
}

Parameter& CommandLineParameters::Get(const std::string& name) {
  const auto found = Find(name);
  if (found == m_Parameters.end()) {
    FailLookup(name);
  }
  return m_Parameters[static_cast<size_t>(found - m_Parameters.begin())];
}

void CommandLineParameters::Set(const std::string& name, const Parameter& param) {
  Get(name) = param;
}

void CommandLineParameters::Remove(const std::string& name) {
  Assert(m_HasBeenInitialised, "m_HasBeenInitialised", "CommandLineParameters");
  const auto found = Find(name);
  if (found != m_Parameters.end()) {
    m_Parameters.erase(found);
  }
}

void CommandLineParameters::Add(const Parameter& param) {
  Assert(!Exists(param.m_Name), "!Exists(param.m_Name)", "CommandLineParameters");
  m_Parameters.push_back(param);
}

void CommandLineParameters::ResolvePath(const std::string& name, const std::string& base,
                                        bool addIfMissing) {
  if (Exists(name)) {
    Parameter param = Get(name);
    if (NeedsBase(param.m_Value)) {
      param.m_Value = base + '/' + param.m_Value;
      Set(name, param);
    }
  } else if (addIfMissing) {
    m_Parameters.push_back({true, name, base});
  }
}

void CommandLineParameters::GetJvmOptions(std::vector<std::string>& options) const {
  for (const Parameter& option : m_JvmOptions) {
    options.push_back(option.ToText());
  }
}
