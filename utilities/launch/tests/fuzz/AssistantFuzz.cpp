// Whole answers of an Assistant through the real connection, held against the framing written down
// a second time.
//
// Input: a byte of flags (1: the answer to "Status", else to a build; 2: the stream ends in a
// reset), a byte that limits what can be sent (255: no limit), then the Assistant's stream.
#include <optional>

#include <direct.h>
#include <winsock2.h>

#include "Check.h"
#include "CommandLineParameters.h"
#include "assistant/AssistantConnection.h"
#include "assistant/BuildCommands.h"
#include "assistant/PropertyMap.h"
#include "platform/FileUtilities.h"
#include "platform/LaunchFailure.h"

// --- Windows Sockets in memory: what the program defines counts before the layer's. Every
// connection succeeds; the first one carries the stream.

struct Network {
  std::string_view incoming;
  bool endsInReset = false;
  size_t sendLimit = 0;
  std::string sent;
  int opened = 0;
} g_network;

static int ResetByPeer() {
  WSASetLastError(WSAECONNRESET);
  return SOCKET_ERROR;
}

SOCKET WSASocketA(int, int, int, WSAPROTOCOL_INFOA*, GROUP, DWORD) {
  return static_cast<SOCKET>(++g_network.opened);
}
int WSAConnect(SOCKET, const sockaddr*, int, LPWSABUF, LPWSABUF, QOS*, QOS*) {
  return 0;
}
int WSASend(SOCKET socket, LPWSABUF buffers, DWORD, LPDWORD sent, DWORD, WSAOVERLAPPED*,
            LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  Check(socket == 1);
  if (g_network.sent.size() + buffers->len > g_network.sendLimit) {
    return ResetByPeer();
  }
  g_network.sent.append(buffers->buf, *sent = buffers->len);
  return 0;
}
int WSARecv(SOCKET socket, LPWSABUF buffers, DWORD, LPDWORD received, LPDWORD, WSAOVERLAPPED*,
            LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
  Check(socket == 1);
  if (g_network.incoming.empty() && g_network.endsInReset) {
    return ResetByPeer();
  }
  *received = static_cast<DWORD>(g_network.incoming.copy(buffers->buf, buffers->len));
  g_network.incoming.remove_prefix(*received);
  return 0;
}

namespace {

struct Reader {
  std::string_view rest;

  int Octet() {
    const int octet = rest.empty() ? -1 : static_cast<unsigned char>(rest.front());
    rest.remove_prefix(rest.empty() ? 0 : 1);
    return octet;
  }
  std::optional<int32_t> Integer() {
    int64_t value = 0;
    for (int i = 0; i < 4; ++i) {
      const int octet = Octet();
      if (octet == -1) {
        return std::nullopt;
      }
      value = value * 256 + octet;
    }
    return static_cast<int32_t>(value < 0x80000000 ? value : value - 0x100000000);
  }
  std::optional<int> Character() {
    const int lead = Octet();
    const int following = lead < 0x80 ? 0 : lead < 0xC0 || lead >= 0xF0 ? 3 : lead < 0xE0 ? 1 : 2;
    int code = following == 0 ? lead : lead % (0x40 >> following);
    for (int i = 0; i < following; ++i) {
      const int octet = Octet();
      if (octet < 0x80 || octet > 0xBF) {
        return std::nullopt;
      }
      code = code * 64 + octet % 64;
    }
    const bool isLead = lead >= 0 && (lead < 0x80 || (lead >= 0xC0 && lead < 0xF8));
    return isLead ? std::optional<int>(code) : std::nullopt;
  }
  std::optional<std::string> String() {
    const int32_t length = Integer().value_or(-1);
    std::string text;
    for (int32_t i = 0; i < length; ++i) {
      const std::optional<int> code = Character();
      if (!code) {
        return std::nullopt;
      }
      text += static_cast<char>(*code % 256);
    }
    return length == -1 ? std::nullopt : std::optional<std::string>(text);
  }
};

struct Outcome {
  std::string output[2];  // standard output, standard error
  int result = 666;
};

Outcome ExpectedOfBuild(Reader reader) {
  Outcome expected;
  while (const std::optional<std::string> line = reader.String()) {
    expected.output[line->substr(0, 1) == "!"] += line->substr(line->empty() ? 0 : 1).c_str();
    expected.output[line->substr(0, 1) == "!"] += '\n';
  }
  expected.result = reader.Integer().value_or(666);
  return expected;
}

Outcome ExpectedOfStatus(Reader reader) {
  PropertyMap status;
  status.Parse(reader.String().value_or("version=2.8.10"));
  if (status.GetProperty("version") == "2.8.10") {
    return {{}, true};
  }
  return {{"Version mis-match, restarting Assistant with version 2.8.10\n", ""}, -1};
}

Outcome Actual(bool isStatus) {
  FILE* const streams[2] = {stdout, stderr};
  char* texts[2];
  size_t sizes[2];
  stdout = open_memstream(&texts[0], &sizes[0]);
  stderr = open_memstream(&texts[1], &sizes[1]);
  Outcome outcome;
  try {
    AssistantConnection assistant(std::make_unique<Socket>("127.0.0.1", 8118, 1, 2, 0));
    // An update ends before anything is written: there are no files to copy.
    outcome.result =
        isStatus ? assistant.EnsureVersion("absent/", "absent/") : RunAssistedCommand(assistant);
  } catch (const LaunchFailure&) {
    outcome.result = -1;
  }
  fclose(stdout);
  fclose(stderr);
  stdout = streams[0];
  stderr = streams[1];
  for (int i = 0; i < 2; ++i) {
    outcome.output[i].assign(texts[i], sizes[i]);
    free(texts[i]);
  }
  return outcome;
}

std::string Framed(const std::string& text) {
  return std::string(2, '\0') + static_cast<char>(text.size() / 256) +
         static_cast<char>(text.size() % 256) + text;
}

// Everything that a build sends, the current directory being ASCII.
std::string BuildRequest() {
  static char* none[] = {nullptr};
  _environ = none;
  const char* arguments[] = {"Torvel", "Build", "Game"};
  Singleton<CommandLineParameters>::GetInstance().Parse(3, arguments);
  return Framed("Build") + std::string("\0\0\0\3", 4) + Framed("Game") +
         Framed("--environment=\"\"") + Framed("--workspace=" + GetCurrentDir());
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string requests[] = {BuildRequest(), Framed("Status")};
  if (size < 2) {
    return 0;
  }
  const bool isStatus = (data[0] & 1) != 0;
  const Reader reader = {{reinterpret_cast<const char*>(data) + 2, size - 2}};
  g_network = {reader.rest, (data[0] & 2) != 0, data[1] == 255 ? SIZE_MAX : data[1], "", 0};
  const std::string& request = requests[isStatus];
  const bool isSent = g_network.sendLimit >= request.size();
  const Outcome expected = isStatus ? ExpectedOfStatus(isSent ? reader : Reader{})
                           : isSent ? ExpectedOfBuild(reader)
                                    : Outcome{};
  const Outcome actual = Actual(isStatus);
  Check(actual.output[0] == expected.output[0]);
  Check(actual.output[1] == expected.output[1]);
  Check(actual.result == expected.result);
  Check(g_network.sent == request.substr(0, isSent ? size_t(-1) : g_network.sent.size()));
  Check(g_network.opened == (isStatus || !isSent ? 1 : 2));
  return 0;
}
