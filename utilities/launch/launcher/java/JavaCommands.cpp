#include "java/JavaCommands.h"

#include <string>
#include <vector>

#include "CommandLineParameters.h"
#include "java/JavaInvocation.h"
#include "platform/Diagnostics.h"

namespace {

std::vector<std::string> BuildJvmOptions(const CommandLineParameters& parameters) {
  const std::string& jarDirectory = parameters.GetJarDirectory();
  const std::string& libDirectory = parameters.GetLibDirectory();
  std::vector<std::string> options = {
      "-Djava.library.path=" + libDirectory,
      "-Djava.class.path=" + jarDirectory + "Torvel.jar;" + libDirectory + "swt-win64.jar",
      "-Xmx1024M",
      "-Xrs",
  };
  parameters.GetJvmOptions(options);
  return options;
}

// `className` has "/" between package parts.
int RunJavaCommand(const std::string& className) {
  DebugPrint("Command: %s\n", className.c_str());
  CommandLineParameters& parameters = Singleton<CommandLineParameters>::GetInstance();
  const std::vector<std::string> options = BuildJvmOptions(parameters);
  std::vector<std::string> arguments;
  for (size_t i = 1; i < parameters.GetCount(); ++i) {
    arguments.push_back(parameters.GetAt(i).ToText());
  }
  return RunJavaClass(className, options, arguments, true);
}

}  // namespace

int RunCommandByName() {
  return RunJavaCommand("com/drel/torvel/commands/" +
                        Singleton<CommandLineParameters>::GetInstance().GetAt(0).m_Name);
}

int RunProfileIO() {
  return RunJavaCommand("com/drel/torvel/profile/ProfileIO");
}
