#include "assistant/BuildCommands.h"

#include <direct.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "CommandLineParameters.h"
#include "TorvelLauncher.h"
#include "assistant/AssistantConnection.h"
#include "assistant/PropertyMap.h"
#include "java/JavaCommands.h"
#include "platform/Diagnostics.h"
#include "platform/Files.h"
#include "platform/Output.h"

namespace {

constexpr int32_t kNoReturnCode = 666;

// Visual Studio's build integration sets these for the process that it starts, and for no other.
constexpr std::string_view kExcludedVariables[] = {"VCBuildHelper_CancelEvent",
                                                   "VCBuildHelper_Command", "VS_UNICODE_OUTPUT"};

CommandLineParameters& Parameters() {
  return Singleton<CommandLineParameters>::GetInstance();
}

// Paths of the user are relative to the start directory; the build runs in the workspace root.
void RebaseOnStartPath(const std::string& start) {
  CommandLineParameters& parameters = Parameters();
  if (start.empty()) {
    return;
  }
  if (parameters.GetCount() > 1) {
    Parameter target = parameters.GetAt(1);
    if (target.m_Name.compare(0, 2, "--") != 0) {
      target.m_Name = start + '/' + target.m_Name;
      parameters.SetAt(1, target);
    }
  }
  parameters.ResolvePath("--antLog", start, false);
  parameters.ResolvePath("--selectSource", start, false);
}

bool IsExcluded(const std::string& name) {
  return std::find(std::begin(kExcludedVariables), std::end(kExcludedVariables), name) !=
         std::end(kExcludedVariables);
}

// The name of an entry of the environment; nullopt without "=".
std::optional<std::string> NameOf(const char* entry) {
  const char* equals = strchr(entry, '=');
  return equals != nullptr ? std::optional<std::string>(std::in_place, entry, equals)
                           : std::nullopt;
}

void ShowEnvironment() {
  for (char** entry = _environ; *entry != nullptr; ++entry) {
    const unsigned address = static_cast<unsigned>(reinterpret_cast<uintptr_t>(*entry));
    const std::optional<std::string> name = NameOf(*entry);
    if (!name) {
      DebugPrint("%x: <null>\n", address);
    } else if (!IsExcluded(*name)) {
      DebugPrint("%x: %s\n", address, *entry);
    }
  }
  DebugPrint("<end>\n");
}

PropertyMap ReadEnvironment() {
  PropertyMap environment;
  for (char** entry = _environ; *entry != nullptr; ++entry) {
    std::optional<std::string> name = NameOf(*entry);
    if (name && !IsExcluded(*name)) {
      const char* value = *entry + name->size() + 1;
      environment.SetProperty(std::move(*name), value);
    }
  }
  return environment;
}

void CompleteParameters() {
  CommandLineParameters& parameters = Parameters();
  if (IsDebugEnabled()) {
    ShowEnvironment();
  }
  if (!parameters.Exists("--environment")) {
    parameters.Add({true, "--environment", '"' + ReadEnvironment().Format() + '"'});
  }
  parameters.ResolvePath("--workspace", GetCurrentDir(), true);
}

// True once everything is sent: the Assistant must get the command before the keep-alive
// connection.
bool SendCommand(AssistantWire& assistant) {
  CommandLineParameters& parameters = Parameters();
  if (!assistant.SendString(parameters.GetAt(0).m_Name) ||
      !assistant.SendInt(static_cast<int32_t>(parameters.GetCount() - 1))) {
    return false;
  }
  for (size_t i = 1; i < parameters.GetCount(); ++i) {
    const std::string text = parameters.GetAt(i).ToText();
    DebugPrint("Param: %s\n", text.c_str());
    if (!assistant.SendString(text)) {
      return false;
    }
  }
  return assistant.Flush();
}

// The first character selects the stream ("!": standard error); an empty line is printed as such.
// Text after a NUL is dropped. Modifies `line`.
void PrintOutputLine(std::string& line) {
  FILE* stream = !line.empty() && line.front() == '!' ? stderr : stdout;
  line.resize(std::min(line.size(), line.find('\0', 1)));
  line += '\n';
  Write(stream, std::string_view(line).substr(line.size() > 1 ? 1 : 0));
}

void RelayOutput(AssistantWire& assistant) {
  std::string line;
  while (assistant.ReceiveString(line)) {
    PrintOutputLine(line);
  }
}

// `returnCode` is unchanged if none arrives.
void ExchangeCommand(AssistantConnection& assistant, int32_t& returnCode) {
  CompleteParameters();
  if (!SendCommand(assistant.Wire())) {
    return;
  }
  if (!assistant.OpenKeepAlive()) {
    DebugPrint("Assistant: Keep-alive Failed\n");
    return;
  }
  DebugPrint("Assistant: Keep-alive Connected\n");
  RelayOutput(assistant.Wire());
  assistant.Wire().ReceiveInt(returnCode);
}

// nullopt: no Assistant of the launcher's version.
std::optional<int> TryAssistedCommand() {
  const SocketStartup sockets;
  DebugPrint("Sockets initialised\n");
  const CommandLineParameters& parameters = Parameters();
  const std::unique_ptr<AssistantConnection> assistant = ConnectToAssistant();
  if (assistant == nullptr ||
      !assistant->EnsureVersion(parameters.GetJarDirectory(), parameters.GetLibDirectory())) {
    return std::nullopt;
  }
  return RunAssistedCommand(*assistant);
}

}  // namespace

int RunBuildCommand() {
  RebaseOnStartPath(Singleton<TorvelLauncher>::GetInstance().GetStartPath());
  const std::string verb = Parameters().GetAt(0).m_Name;
  DebugPrint("Verb: %s\n", verb.c_str());
  if (Parameters().UseAssistant() && verb != "Scrub") {
    const std::optional<int> returnCode = TryAssistedCommand();
    if (returnCode) {
      return *returnCode;
    }
  }
  DebugPrint("Launching non-assisted\n");
  return RunCommandByName();
}

int RunAssistedCommand(AssistantConnection& assistant) {
  int32_t returnCode = kNoReturnCode;
  try {
    ExchangeCommand(assistant, returnCode);
  } catch (const InternalError&) {
    throw;
  } catch (...) {
    DebugPrint("** Exception **\n");
  }
  DebugPrint("Return code: %d\n", returnCode);
  return returnCode;
}
