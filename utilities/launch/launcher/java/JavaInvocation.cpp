#include "java/JavaInvocation.h"

#include <algorithm>

#include "java/InProcessJava.h"
#include "java/JavaRelease.h"
#include "platform/Diagnostics.h"
#include "platform/Exec.h"

namespace {

bool IsMaxHeapOption(const std::string& option) {
  return option.compare(0, 4, "-Xmx") == 0;
}

// `jvmOptions` with only the last -Xmx, then the garbage collector options.
std::vector<std::string> EffectiveOptions(const std::vector<std::string>& jvmOptions) {
  std::vector<std::string> effective;
  for (const std::string& option : jvmOptions) {
    if (IsMaxHeapOption(option)) {
      const auto earlier = std::find_if(effective.begin(), effective.end(), IsMaxHeapOption);
      if (earlier != effective.end()) {
        effective.erase(earlier);
      }
    }
    effective.push_back(option);
  }
  effective.push_back("-XX:+UseConcMarkSweepGC");
  effective.push_back("-XX:-UseGCOverheadLimit");
  return effective;
}

int RunJavaChild(const std::string& className, const std::vector<std::string>& options,
                 const std::vector<std::string>& arguments) {
  const std::string program = SearchProgram("java");
  std::vector<std::string> command = OptionsKnownTo(program, options);
  command.insert(command.begin(), "java");
  command.push_back(className);
  command.insert(command.end(), arguments.begin(), arguments.end());
  return Exec(command, program);
}

}  // namespace

int RunJavaClass(const std::string& className, const std::vector<std::string>& jvmOptions,
                 const std::vector<std::string>& arguments, bool inProcessFirst) {
  DebugPrint("Command: %s\n", className.c_str());
  const std::vector<std::string> options = EffectiveOptions(jvmOptions);
  if (inProcessFirst) {
    const int result = InvokeJavaInProcess(className, options, arguments);
    if (result != InvocationFailed) {
      return result;
    }
    DebugPrint("DLL Invocation failed, falling back to command-line.\n");
  }
  const int result = RunJavaChild(className, options, arguments);
  DebugPrint("Java process returned %d\n", result);
  return result;
}
