// The bytes that an Assistant sends during a build, through the real connection. The build ends,
// with an exit code that was sent or 666, and prints no more than it received.
#include <winsock2.h>
#include <direct.h>
#include <io.h>

#include <cstdlib>
#include <string_view>
#include <tuple>

#include "CommandLineParameters.h"
#include "assistant/AssistantConnection.h"
#include "assistant/BuildCommands.h"

// The system's calls in memory. The program's definitions come before the libraries'.
static std::string_view g_incoming;
static size_t g_piece = 0;
static std::string g_written[3];

extern "C" int connect(int, const sockaddr*, socklen_t) {
  return 0;
}
extern "C" ssize_t send(int, const void*, size_t length, int) {
  return static_cast<ssize_t>(length);
}
extern "C" ssize_t recv(int, void* buffer, size_t size, int) {
  const size_t length = g_incoming.copy(static_cast<char*>(buffer), std::min(size, g_piece));
  g_incoming.remove_prefix(length);
  return static_cast<ssize_t>(length);
}
int _write(int descriptor, const void* data, unsigned size) {
  g_written[descriptor].append(static_cast<const char*>(data), size);
  return static_cast<int>(size);
}

namespace {

// Standard output, standard error, the exit code.
using Outcome = std::tuple<std::string, std::string, int>;

// The stream arrives in pieces of at most `piece` bytes.
Outcome Run(std::string_view incoming, size_t piece) {
  g_incoming = incoming;
  g_piece = piece;
  for (std::string& text : g_written) text.clear();
  static const SocketStartup startup;
  const int code = RunAssistedCommand(*std::make_unique<AssistantConnection>(
      std::make_unique<Socket>("127.0.0.1", uint16_t{8118}, 1, 2, 0)));
  return {g_written[1], g_written[2], code};
}

// libFuzzer keeps an input that aborts.
void Check(bool holds) {
  if (!holds) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  auto& parameters = Singleton<CommandLineParameters>::GetInstance();
  const char* arguments[] = {"Torvel", "Build", "--environment="};
  if (parameters.GetCount() == 0) parameters.Parse(3, arguments);
  static char* none[] = {nullptr};
  _environ = none;  // a build sends it

  const Outcome outcome = Run(input, 99);
  const auto& [output, errors, code] = outcome;
  Check(output.size() + errors.size() <= input.size());  // a line's length has four bytes
  const uint32_t sent = htonl(static_cast<uint32_t>(code));
  const std::string_view bytes(reinterpret_cast<const char*>(&sent), sizeof sent);
  Check(code == 666 || input.find(bytes) != std::string_view::npos);
  Check(Run(input, 1) == outcome);
  // Bytes after the exit code are not read.
  Check(code == 666 || Run(std::string(input) + "behind", 99) == outcome);
  return 0;
}
