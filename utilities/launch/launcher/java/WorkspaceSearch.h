#pragma once
// Finds the workspace: the directory from which the tool's jar is reachable under one of a list of
// directories.

#include <string>
#include <vector>

struct WorkspaceLocation {
  std::string m_Root;          // absolute, as the system gives the current directory, and "/"
  std::string m_JarDirectory;  // the entry of the search list, relative to the root
  std::string m_LibDirectory;  // of the native library: the jar directory, or its swt/ or lib/
};

// Searches `workspace` and then the start directory; with an empty `workspace`, from the start
// directory upwards. The current directory is the same afterwards. Throws LaunchFailure when there
// is no workspace; the current directory is then where the search stopped.
WorkspaceLocation SearchWorkspace(const std::string& workspace,
                                  const std::vector<std::string>& searchPaths,
                                  const std::string& jarName);

// What is left of `start` below `root`, both a current directory and "/"; empty when `start` is not
// below it.
std::string StartPathBelow(const std::string& root, const std::string& start);

// Searches with what the command line says, records the jar and library directories there, makes
// the root the current directory and returns the start path. Throws LaunchFailure.
std::string EnterWorkspace();
