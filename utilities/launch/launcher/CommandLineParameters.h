#pragma once
// The registry of what the user asked for: the command and its arguments, the JVM options, the
// launch options.
//
// main has it read the command line once, before anything else; from then on every room reads it
// through Singleton<CommandLineParameters>::GetInstance(). Main thread only.
//
// Every argument becomes a name with an optional value, cut at its first "=". Arguments beginning
// with "-X" are kept for the JVM; the launch options that are acted upon are taken out, except
// --workspace; all else goes on to the command.

#include <cstddef>

#include <stdexcept>
#include <string>
#include <vector>

#include "Singleton.h"

struct Parameter {
  bool m_HasValue = false;
  std::string m_Name;
  std::string m_Value;

  // The argument as it was typed.
  std::string ToText() const;
};

// A lookup of a parameter that is not there: a fault of the launcher's own, which nothing catches.
class InternalError : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

class CommandLineParameters : public Singleton<CommandLineParameters> {
 public:
  CommandLineParameters();

  // Called once. Skips argv[0] and null entries; nothing in it fails on user input.
  void Parse(int argc, const char* const* argv);

  // Lookups by name compare whole names, letter case included, and act on the first match. Exists,
  // Remove and Add need Parse to have finished.
  bool Exists(const std::string& name) const;
  Parameter& Get(const std::string& name);                    // throws InternalError
  void Set(const std::string& name, const Parameter& param);  // throws InternalError
  void Remove(const std::string& name);                       // nothing happens when absent
  void Add(const Parameter& param);                           // the name must be new

  // Makes the parameter's value absolute by putting `base` and "/" before it, unless it begins with
  // a separator, names a drive or has at most two characters. An absent one is added with `base` as
  // its value when `addIfMissing`.
  void ResolvePath(const std::string& name, const std::string& base, bool addIfMissing);

  // By place; 0 is the command. The index must be below GetCount().
  size_t GetCount() const { return m_Parameters.size(); }
  Parameter& GetAt(size_t index) { return m_Parameters[index]; }
  void SetAt(size_t index, const Parameter& param) { m_Parameters[index] = param; }

  // Appends the options as they were typed.
  void GetJvmOptions(std::vector<std::string>& options) const;

  // Directories below the workspace root, each ending in "/" or "\".
  const std::vector<std::string>& GetJarSearchPaths() const { return m_JarSearchPaths; }

  // Ends in "/" or "\"; empty when --workspace was not given.
  const std::string& GetWorkspace() const { return m_Workspace; }

  // Set once the workspace has been found; relative to its root.
  void SetJarDirectory(const std::string& directory) { m_JarDirectory = directory; }
  const std::string& GetJarDirectory() const { return m_JarDirectory; }
  void SetLibDirectory(const std::string& directory) { m_LibDirectory = directory; }
  const std::string& GetLibDirectory() const { return m_LibDirectory; }

  // Build verbs may be handed to the resident Assistant.
  bool UseAssistant() const { return m_UseAssistant; }

 private:
  std::vector<Parameter>::const_iterator Find(const std::string& name) const;
  void ApplyLocationOptions();
  void ApplyDebugOption();
  void ApplyAssistantOption();

  bool m_HasBeenInitialised = false;
  std::vector<Parameter> m_Parameters;
  std::vector<Parameter> m_JvmOptions;
  std::vector<std::string> m_JarSearchPaths;
  std::string m_Workspace;
  std::string m_JarDirectory;
  std::string m_LibDirectory;
  bool m_UseAssistant;
};
