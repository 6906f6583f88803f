#pragma once
// Finds the workspace and the command, and runs the command's handler.
//
// Accessed through Singleton<TorvelLauncher>::GetInstance(), after CommandLineParameters::Parse.
// Main thread only.

#include <string>
#include <utility>
#include <vector>

#include "Singleton.h"

// Returns the launcher's exit code. Called with the workspace root as the current directory and the
// command's registered name in parameter 0 of CommandLineParameters.
using CommandHandler = int (*)();

struct CommandEntry {
  std::vector<std::string> names;
  CommandHandler handler;
};

class TorvelLauncher : public Singleton<TorvelLauncher> {
 public:
  // Registers the commands; defined in CommandTable.cpp.
  TorvelLauncher();

  void AddCommand(const std::vector<std::string>& names, CommandHandler handler);

  // Call once. Returns the handler's result. Throws LaunchFailure.
  int Run();

  // The start directory relative to the workspace root: ends in "/", or is empty.
  std::string GetStartPath() const { return m_StartPath; }

 private:
  // Stores the jar and library directories in CommandLineParameters, makes the workspace root the
  // current directory and sets m_StartPath. Throws LaunchFailure.
  void LocateWorkspace();

  // The command's registered name and its handler. Throws LaunchFailure.
  std::pair<std::string, CommandHandler> FindCommand(const std::string& key) const;

  std::vector<CommandEntry> m_Commands;
  std::string m_StartPath;
};
