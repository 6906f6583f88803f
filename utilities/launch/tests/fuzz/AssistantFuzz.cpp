// What an Assistant sends during a build, through the real connection, held against the framing
// written down a second time. Input: the Assistant's stream.
#include <direct.h>
#include <io.h>
#include <winsock2.h>

#include "Check.h"
#include "CommandLineParameters.h"
#include "assistant/AssistantConnection.h"
#include "assistant/BuildCommands.h"

// The system's calls in memory: what the program defines counts before the libraries'.
static std::string_view g_incoming;
static std::string g_written[3];

extern "C" int connect(int, const sockaddr*, socklen_t) {
  return 0;
}
extern "C" ssize_t send(int, const void*, size_t length, int) {
  return static_cast<ssize_t>(length);
}
extern "C" ssize_t recv(int, void* buffer, size_t size, int) {
  const size_t length = g_incoming.copy(static_cast<char*>(buffer), std::min<size_t>(size, 99));
  g_incoming.remove_prefix(length);
  return static_cast<ssize_t>(length);
}
int _write(int descriptor, const void* data, unsigned size) {
  g_written[descriptor].append(static_cast<const char*>(data), size);
  return static_cast<int>(size);
}

namespace {

struct Reader {
  std::string_view rest;
  bool isBroken = false;  // the last string or number is none; the next is read from where it broke

  int Octet() {
    isBroken = rest.empty();
    const int octet = isBroken ? -1 : static_cast<unsigned char>(rest[0]);
    rest.remove_prefix(isBroken ? 0 : 1);
    return octet;
  }
  int32_t Integer() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value * 256 + static_cast<uint32_t>(Octet());
    return static_cast<int32_t>(value);
  }
  int Character() {
    const int lead = Octet();
    const int following = lead < 0x80 ? 0 : lead < 0xC0 || lead >= 0xF0 ? 3 : lead < 0xE0 ? 1 : 2;
    int code = lead;
    for (int i = 0; i < following; ++i) {
      const int octet = Octet();
      isBroken = octet / 64 != 2;
      if (isBroken) return -1;
      code = code * 64 + octet % 64;
    }
    isBroken = isBroken || lead / 64 == 2 || lead >= 0xF8;
    return code;
  }
  std::string String() {
    const int32_t length = Integer();
    std::string text;
    isBroken = isBroken || length == -1;
    for (int32_t i = 0; i < length && !isBroken; ++i) text += static_cast<char>(Character() % 256);
    return text;
  }
};

}  // namespace

void Try(std::string_view input) {
  Reader reader = {g_incoming = input};
  std::string expected[2];  // standard output, standard error
  for (std::string line = reader.String(); !reader.isBroken; line = reader.String()) {
    expected[line[0] == '!'] += line.substr(line.empty() ? 0 : 1).c_str() + std::string("\n");
  }
  const int32_t last = reader.Integer(), expectedCode = reader.isBroken ? 666 : last;

  auto& parameters = Singleton<CommandLineParameters>::GetInstance();
  const char* arguments[] = {"Torvel", "Build", "--environment="};
  if (parameters.GetCount() == 0) parameters.Parse(3, arguments);
  static char* none[] = {nullptr};
  _environ = none;  // a build sends it
  for (std::string& text : g_written) text.clear();
  static const SocketStartup startup;
  const int code = RunAssistedCommand(*std::make_unique<AssistantConnection>(
      std::make_unique<Socket>("127.0.0.1", uint16_t{8118}, 1, 2, 0)));
  Check(g_written[1] == expected[0] && g_written[2] == expected[1] && code == expectedCode);
}
