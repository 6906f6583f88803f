#include "WorkspaceSearch.h"

#include <optional>

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

// `directory` comes from GetCurrentDir.
bool Enter(const std::string& directory) {
  ChangeDir(directory);
  return GetCurrentDir() == directory;
}

std::string FindLibDirectory(const std::string& jarDirectory) {
  for (const char* below : {"", "swt/"}) {
    if (FileExists(jarDirectory + below + kNativeLibrary)) {
      return jarDirectory + below;
    }
  }
  return jarDirectory + "lib/";
}

// The location, if the current directory is a workspace root.
std::optional<WorkspaceLocation> FindJar(const std::vector<std::string>& searchPaths,
                                         const std::string& jarName) {
  for (const std::string& directory : searchPaths) {
    if (FileExists(directory + jarName)) {
      const std::string root = GetCurrentDir();
      if (root.empty()) {
        return std::nullopt;  // its path cannot be read
      }
      return WorkspaceLocation{root + '/', directory, FindLibDirectory(directory)};
    }
  }
  return std::nullopt;
}

WorkspaceLocation SearchGivenWorkspace(const std::string& workspace, const std::string& start,
                                       const std::vector<std::string>& searchPaths,
                                       const std::string& jarName) {
  for (const std::string& directory : {workspace, start}) {
    ChangeDir(directory);
    if (std::optional<WorkspaceLocation> location = FindJar(searchPaths, jarName)) {
      return *location;
    }
  }
  FailSearch(workspace);
}

WorkspaceLocation SearchUpwards(const std::string& start,
                                const std::vector<std::string>& searchPaths,
                                const std::string& jarName) {
  std::string current = start;
  for (;;) {
    if (std::optional<WorkspaceLocation> location = FindJar(searchPaths, jarName)) {
      return *location;
    }
    DebugText("Not in " + current + "...\n");
    ChangeDir("..");
    const std::string above = GetCurrentDir();
    if (above == current) {
      FailSearch("");
    }
    current = above;
  }
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
  const WorkspaceLocation location =
      workspace.empty() ? SearchUpwards(start, searchPaths, jarName)
                        : SearchGivenWorkspace(workspace, start, searchPaths, jarName);
  DebugText("Found jar in " + location.m_JarDirectory + "\n");
  DebugText("Found lib in " + location.m_LibDirectory + "\n");
  DebugText("Workspace at " + location.m_Root + "\n");
  // A name outside the code page cannot be entered again. Below the root, the build would then get
  // the wrong target.
  const bool isStartNeeded =
      workspace.empty() || !StartPathBelow(location.m_Root, start + '/').empty();
  if (!Enter(start) && isStartNeeded) {
    FailSearch(workspace);
  }
  return location;
}

void EnterRoot(const WorkspaceLocation& location, const std::string& workspace) {
  if (!Enter(location.m_Root.substr(0, location.m_Root.size() - 1))) {
    FailSearch(workspace);
  }
}

std::string StartPathBelow(const std::string& root, const std::string& start) {
  const std::string above = WithOneSeparator(root);
  const std::string below = WithOneSeparator(start);
  if (below.size() <= above.size() || ComparePaths(below.substr(0, above.size()), above) != 0) {
    return "";
  }
  // Windows returns a current directory with "\" only; its one "/" is the appended last one.
  return below.substr(above.size() + (below[above.size()] == '\\' ? 1 : 0));
}
