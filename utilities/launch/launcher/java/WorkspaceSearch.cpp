#include "java/WorkspaceSearch.h"

#include "CommandLineParameters.h"
#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/LaunchFailure.h"
#include "platform/Text.h"

namespace {

const char kNativeLibrary[] = "torvel-win64.dll";

[[noreturn]] void FailSearch(const std::string& workspace) {
  throw LaunchFailure(workspace.empty()
                          ? "Unable to locate Torvel's path from current working directory"
                          : "Unable to locate Torvel within workspace");
}

// `directory` comes from GetCurrentDir. A name outside the code page cannot be re-entered;
// continuing would build the wrong target.
void Reenter(const std::string& directory, const std::string& workspace) {
  ChangeDir(directory);
  if (GetCurrentDir() != directory) {
    FailSearch(workspace);
  }
}

std::string FindLibDirectory(const std::string& jarDirectory) {
  for (const char* below : {"", "swt/"}) {
    if (FileExists(jarDirectory + below + kNativeLibrary)) {
      return jarDirectory + below;
    }
  }
  return jarDirectory + "lib/";
}

// True, with `location` set, if the current directory is a workspace root.
bool FindJar(const std::vector<std::string>& searchPaths, const std::string& jarName,
             WorkspaceLocation& location) {
  for (const std::string& directory : searchPaths) {
    if (!FileExists(directory + jarName)) {
      continue;
    }
    const std::string current = GetCurrentDir();
    if (current.empty()) {
      return false;  // the path of the root cannot be read
    }
    location.m_JarDirectory = directory;
    location.m_LibDirectory = FindLibDirectory(directory);
    location.m_Root = current + '/';
    DebugText("Found jar in " + location.m_JarDirectory + "\n");
    DebugText("Found lib in " + location.m_LibDirectory + "\n");
    DebugText("Workspace at " + location.m_Root + "\n");
    return true;
  }
  return false;
}

WorkspaceLocation SearchGivenWorkspace(const std::string& workspace, const std::string& start,
                                       const std::vector<std::string>& searchPaths,
                                       const std::string& jarName) {
  WorkspaceLocation location;
  ChangeDir(workspace);
  if (FindJar(searchPaths, jarName, location)) {
    return location;
  }
  ChangeDir(start);
  if (FindJar(searchPaths, jarName, location)) {
    return location;
  }
  FailSearch(workspace);
}

WorkspaceLocation SearchUpwards(const std::string& start,
                                const std::vector<std::string>& searchPaths,
                                const std::string& jarName) {
  WorkspaceLocation location;
  std::string current = start;
  while (!FindJar(searchPaths, jarName, location)) {
    DebugText("Not in " + current + "...\n");
    ChangeDir("..");
    const std::string above = GetCurrentDir();
    if (above == current) {
      FailSearch("");
    }
    current = above;
  }
  return location;
}

// The root directory of a drive already ends in a separator.
std::string WithOneSeparator(const std::string& directory) {
  const size_t size = directory.size();
  const bool endsInTwo = size > 1 && IsSeparator(directory[size - 2]);
  return directory.substr(0, endsInTwo ? size - 1 : size);
}

}  // namespace

WorkspaceLocation SearchWorkspace(const std::string& workspace,
                                  const std::vector<std::string>& searchPaths,
                                  const std::string& jarName) {
  DebugText("Search for " + jarName + " and " + kNativeLibrary + " in\n");
  for (const std::string& directory : searchPaths) {
    DebugText(directory + "\n");
  }
  const std::string start = GetCurrentDir();
  if (start.empty()) {
    FailSearch(workspace);
  }
  WorkspaceLocation location = workspace.empty()
                                   ? SearchUpwards(start, searchPaths, jarName)
                                   : SearchGivenWorkspace(workspace, start, searchPaths, jarName);
  Reenter(start, workspace);
  return location;
}

std::string StartPathBelow(const std::string& root, const std::string& start) {
  const std::string above = WithOneSeparator(root);
  const std::string below = WithOneSeparator(start);
  if (below.size() <= above.size() || ComparePaths(below.substr(0, above.size()), above) != 0) {
    return "";
  }
  return below.substr(above.size() + (below[above.size()] == '\\' ? 1 : 0));
}

std::string EnterWorkspace() {
  CommandLineParameters& parameters = Singleton<CommandLineParameters>::GetInstance();
  const WorkspaceLocation location =
      SearchWorkspace(parameters.GetWorkspace(), parameters.GetJarSearchPaths(), "Torvel.jar");
  parameters.SetJarDirectory(location.m_JarDirectory);
  parameters.SetLibDirectory(location.m_LibDirectory);
  const std::string start = GetCurrentDir() + '/';
  Reenter(location.m_Root.substr(0, location.m_Root.size() - 1), parameters.GetWorkspace());
  return StartPathBelow(location.m_Root, start);
}
