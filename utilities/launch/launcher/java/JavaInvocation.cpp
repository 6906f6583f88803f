#include "java/JavaInvocation.h"

#include "java/InProcessJava.h"
#include "java/JavaOptions.h"
#include "platform/Diagnostics.h"
#include "platform/Exec.h"

namespace {

int RunJavaChild(const std::string& className, const std::vector<std::string>& jvmOptions,
                 const std::vector<std::string>& arguments) {
  const std::string program = SearchProgram("java");
  std::vector<std::string> command = EffectiveOptions(jvmOptions, JavaVersionOf(program));
  command.insert(command.begin(), "java");
  command.push_back(className);
  command.insert(command.end(), arguments.begin(), arguments.end());
  return Exec(command, program);
}

}  // namespace

int RunJavaClass(const std::string& className, const std::vector<std::string>& jvmOptions,
                 const std::vector<std::string>& arguments, bool inProcessFirst) {
  DebugPrint("Command: %s\n", className.c_str());
  if (inProcessFirst) {
    const int result = InvokeJavaInProcess(className, jvmOptions, arguments);
    if (result != InvocationFailed) {
      return result;
    }
    DebugPrint("DLL Invocation failed, falling back to command-line.\n");
  }
  const int result = RunJavaChild(className, jvmOptions, arguments);
  DebugPrint("Java process returned %d\n", result);
  return result;
}
