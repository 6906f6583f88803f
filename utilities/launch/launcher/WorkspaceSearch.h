#pragma once
// Finds the workspace root: a directory that has the jar in one of the directories of the search
// list.

#include <string>
#include <vector>

struct WorkspaceLocation {
  std::string m_Root;          // absolute: GetCurrentDir() and "/"
  std::string m_JarDirectory;  // the entry of the search list, relative to the root
  std::string m_LibDirectory;  // of the native library: the jar directory or its swt/ or lib/
};

// Searches `workspace`, then the start directory; if `workspace` is empty, the start directory and
// its parents. Restores the current directory. Throws LaunchFailure if there is no workspace; the
// current directory is then where the search stopped. A start directory that cannot be entered
// again is a failure too, unless `workspace` is given and the start is not below the root; the
// current directory is then the root.
WorkspaceLocation SearchWorkspace(const std::string& workspace,
                                  const std::vector<std::string>& searchPaths,
                                  const std::string& jarName);

// `start` relative to `root`, both a current directory and "/"; empty if `start` is not below
// `root`.
std::string StartPathBelow(const std::string& root, const std::string& start);

// Makes the root of `location` the current directory. Throws LaunchFailure.
void EnterRoot(const WorkspaceLocation& location, const std::string& workspace);
