#include <cstring>

#include "CommandLineParameters.h"
#include "TorvelLauncher.h"
#include "Usage.h"
#include "platform/Diagnostics.h"
#include "platform/LaunchFailure.h"
#include "platform/Output.h"
#include "platform/SwitcherListener.h"

namespace {

constexpr int kNotLaunched = -1;

bool IsHelpRequest(int argc, char** argv) {
  return argc == 2 && argv[1] != nullptr &&
         (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-help") == 0);
}

int Launch(int argc, char** argv) {
  if (IsHelpRequest(argc, argv)) {
    PrintUsage();
    return kNotLaunched;
  }
  DebugPrint("Launching...\n");
  if (Singleton<CommandLineParameters>::GetInstance().GetCount() == 0) {
    PrintUsage();
    return kNotLaunched;
  }
  StartSwitcherListener();
  return Singleton<TorvelLauncher>::GetInstance().Run();
}

}  // namespace

int main(int argc, char** argv) {
  Singleton<CommandLineParameters>::GetInstance().Parse(argc, argv);
  try {
    return Launch(argc, argv);
  } catch (const LaunchFailure& failure) {
    Print("\nLaunching Torvel failed: %s\n", failure.what());
    return kNotLaunched;
  }
}
