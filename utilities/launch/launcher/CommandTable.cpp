// All commands and their handlers.
#include "TorvelLauncher.h"
#include "assistant/BuildCommands.h"
#include "java/JavaCommands.h"

TorvelLauncher::TorvelLauncher() {
  AddCommand({"ListSlaves"}, RunCommandByName);
  AddCommand({"Launch"}, RunCommandByName);
  AddCommand({"StartSlave"}, RunCommandByName);
  AddCommand({"ListDependencies"}, RunCommandByName);
  AddCommand({"SlaveStatus", "NetInfo"}, RunCommandByName);
  AddCommand({"SendEmail"}, RunCommandByName);
  AddCommand({"Build", "Validate", "Rebuild", "Clean", "Tidy", "Export", "Scrub"}, RunBuildCommand);
  AddCommand({"Checksum"}, RunCommandByName);
  AddCommand({"Cache"}, RunCommandByName);
  AddCommand({"ProfileIO"}, RunProfileIO);
  AddCommand({"BrowseMetrics"}, RunCommandByName);
  AddCommand({"SlaveClose"}, RunCommandByName);
  AddCommand({"AssistantClose"}, RunCommandByName);
}
