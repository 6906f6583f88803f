#pragma once
// The parsed command line: the command and its arguments, JVM options and launch options.
//
// main calls Parse once, before anything else. All modules read it through
// Singleton<CommandLineParameters>::GetInstance(). Main thread only.
//
// Each argument is a name with an optional value, split at the first "=". Arguments that begin with
// "-X" are JVM options. Launch options that take effect are removed, except --workspace; everything
// else is passed to the command.

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "Singleton.h"

struct Parameter {
  bool m_HasValue = false;
  std::string m_Name;
  std::string m_Value;

  // The argument as typed.
  std::string ToText() const;
};

// Thrown for a missing parameter: a programming error that nothing handles.
class InternalError : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

class CommandLineParameters : public Singleton<CommandLineParameters> {
 public:
  CommandLineParameters();

  // Call once. Skips argv[0] and null entries. No user input makes it fail.
  void Parse(int argc, const char* const* argv);

  // Names are compared whole and case-sensitively; the first match counts. Exists, Remove and Add
  // require Parse.
  bool Exists(const std::string& name) const;
  Parameter& Get(const std::string& name);                    // throws InternalError
  void Set(const std::string& name, const Parameter& param);  // throws InternalError
  void Remove(const std::string& name);                       // no effect when absent
  void Add(const Parameter& param);                           // the name must be new

  // Prefixes the value with `base` and "/" unless it begins with a separator, names a drive or has
  // at most two characters. If `addIfMissing`, adds a missing parameter with the value `base`.
  void ResolvePath(const std::string& name, const std::string& base, bool addIfMissing);

  // By index; 0 is the command. The index must be less than GetCount().
  size_t GetCount() const { return m_Parameters.size(); }
  Parameter& GetAt(size_t index) { return m_Parameters[index]; }
  void SetAt(size_t index, const Parameter& param) { m_Parameters[index] = param; }

  // Appends the options as typed.
  void GetJvmOptions(std::vector<std::string>& options) const;

  // Relative to the workspace root; each ends in "/" or "\".
  const std::vector<std::string>& GetJarSearchPaths() const { return m_JarSearchPaths; }

  // Ends in "/" or "\"; empty when --workspace was not given.
  const std::string& GetWorkspace() const { return m_Workspace; }

  // Set after the workspace search; relative to the workspace root.
  void SetJarDirectory(const std::string& directory) { m_JarDirectory = directory; }
  const std::string& GetJarDirectory() const { return m_JarDirectory; }
  void SetLibDirectory(const std::string& directory) { m_LibDirectory = directory; }
  const std::string& GetLibDirectory() const { return m_LibDirectory; }

  // Whether build verbs may use the Assistant.
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
