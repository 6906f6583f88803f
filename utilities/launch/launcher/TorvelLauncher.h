#pragma once
// One launch: finds the workspace, finds the command, runs the command's handler.
//
// Created on first use through Singleton<TorvelLauncher>::GetInstance(), after
// CommandLineParameters has read the command line. Main thread only.

#include <string>
#include <utility>
#include <vector>

#include "Singleton.h"

// Takes what it needs from the two singletons and returns the launch's exit code. When it runs, the
// workspace root is the current directory and parameter 0 of CommandLineParameters is the command's
// registered name.
using CommandHandler = int (*)();

// Records the jar and library directories in CommandLineParameters, makes the workspace root the
// current directory and returns the start path. Throws LaunchFailure when there is no workspace.
using WorkspaceFinder = std::string (*)();

struct CommandEntry {
  std::vector<std::string> names;
  CommandHandler handler;
};

class TorvelLauncher : public Singleton<TorvelLauncher> {
 public:
  // Builds the command table.
  TorvelLauncher();

  void AddCommand(const std::vector<std::string>& names, CommandHandler handler);

  // Called once. Returns the handler's result. Throws LaunchFailure.
  int Run();

  // The directory the launcher was started in, relative to the workspace root: ends in "/", or is
  // empty.
  std::string GetStartPath() const { return m_StartPath; }

 private:
  void LocateWorkspace();

  // The command's registered name and its handler. Throws LaunchFailure.
  std::pair<std::string, CommandHandler> FindCommand(const std::string& key) const;

  WorkspaceFinder m_EnterWorkspace;
  std::vector<CommandEntry> m_Commands;
  std::string m_StartPath;
};
