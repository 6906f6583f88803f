// Every command of the launcher and what carries it out.
#include "TorvelLauncher.h"

#include "assistant/BuildCommands.h"
#include "java/JavaCommands.h"

TorvelLauncher::TorvelLauncher() {
  AddCommand({"ListSlaves"}, RunListSlaves);
  AddCommand({"Launch"}, RunLaunch);
  AddCommand({"StartSlave"}, RunStartSlave);
  AddCommand({"ListDependencies"}, RunListDependencies);
  AddCommand({"SlaveStatus", "NetInfo"}, RunCommandByName);
  AddCommand({"SendEmail"}, RunSendEmail);
  AddCommand({"Build", "Validate", "Rebuild", "Clean", "Tidy", "Export", "Scrub"}, RunBuildCommand);
  AddCommand({"Checksum"}, RunChecksum);
  AddCommand({"Cache"}, RunCache);
  AddCommand({"ProfileIO"}, RunProfileIO);
  AddCommand({"BrowseMetrics"}, RunBrowseMetrics);
  AddCommand({"SlaveClose"}, RunSlaveClose);
  AddCommand({"AssistantClose"}, RunAssistantClose);
}
