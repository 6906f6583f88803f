#include "TorvelLauncher.h"

#include "CommandLineParameters.h"
#include "WorkspaceSearch.h"
#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/LaunchFailure.h"
#include "platform/Text.h"

void TorvelLauncher::AddCommand(const std::vector<std::string>& names, CommandHandler handler) {
  m_Commands.push_back({names, handler});
}

int TorvelLauncher::Run() {
  LocateWorkspace();
  CommandLineParameters& parameters = Singleton<CommandLineParameters>::GetInstance();
  if (parameters.GetCount() == 0) {
    throw LaunchFailure("No command specified");
  }
  const std::string key = ToLower(parameters.GetAt(0).m_Name);
  const auto [name, handler] = FindCommand(key);
  parameters.GetAt(0).m_Name = name;
  DebugPrint("Launching %s: %p\n", key.c_str(), reinterpret_cast<void*>(handler));
  return handler();
}

void TorvelLauncher::LocateWorkspace() {
  CommandLineParameters& parameters = Singleton<CommandLineParameters>::GetInstance();
  const WorkspaceLocation location =
      SearchWorkspace(parameters.GetWorkspace(), parameters.GetJarSearchPaths(), "Torvel.jar");
  parameters.SetJarDirectory(location.m_JarDirectory);
  parameters.SetLibDirectory(location.m_LibDirectory);
  const std::string start = GetCurrentDir() + '/';
  EnterRoot(location, parameters.GetWorkspace());
  m_StartPath = StartPathBelow(location.m_Root, start);
  DebugPrint("Path to original: %s\n", m_StartPath.c_str());
}

std::pair<std::string, CommandHandler> TorvelLauncher::FindCommand(const std::string& key) const {
  for (const CommandEntry& entry : m_Commands) {
    for (const std::string& name : entry.names) {
      if (ToLower(name) == key) {
        return {name, entry.handler};
      }
    }
  }
  throw LaunchFailure("Command '" + key + "' not found");
}
