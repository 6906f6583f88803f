// Whole answers of an Assistant through the real connection, held against a reader of the framing
// that is written down a second time here.
//
// Input: a byte of flags (1: an answer to "Status", else to a build; 2: the stream ends in a
// reset), a byte that limits what can be sent (255: no limit), then the Assistant's stream.
#include <unistd.h>

#include <optional>

#include "Check.h"
#include "CommandLineParameters.h"
#include "MemorySockets.h"
#include "assistant/AssistantConnection.h"
#include "assistant/BuildCommands.h"
#include "assistant/PropertyMap.h"
#include "platform/FileUtilities.h"
#include "platform/LaunchFailure.h"

namespace {

struct Reader {
  std::string_view rest;

  int Octet() {
    if (rest.empty()) {
      return -1;
    }
    const int octet = static_cast<unsigned char>(rest.front());
    rest.remove_prefix(1);
    return octet;
  }
  std::optional<int32_t> Integer() {
    if (rest.size() < 4) {
      rest = {};
      return std::nullopt;
    }
    int64_t value = Octet();
    value = value * 256 + Octet();
    value = value * 256 + Octet();
    value = value * 256 + Octet();
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
    const std::optional<int32_t> length = Integer();
    if (!length || *length == -1) {
      return std::nullopt;
    }
    std::string text;
    for (int32_t i = 0; i < *length; ++i) {
      const std::optional<int> code = Character();
      if (!code) {
        return std::nullopt;
      }
      text += static_cast<char>(*code % 256);
    }
    return text;
  }
};

// Collects what is written to stdout or stderr while it lives.
class Collected {
 public:
  explicit Collected(FILE*& stream) : m_Stream(stream), m_Before(stream) {
    m_Stream = open_memstream(&m_Text, &m_Size);
  }
  ~Collected() {
    fclose(m_Stream);
    m_Stream = m_Before;
    free(m_Text);
  }
  Collected(const Collected&) = delete;
  Collected& operator=(const Collected&) = delete;
  std::string Text() {
    fflush(m_Stream);
    return std::string(m_Text, m_Size);
  }

 private:
  FILE*& m_Stream;
  FILE* const m_Before;
  char* m_Text = nullptr;
  size_t m_Size = 0;
};

struct Outcome {
  std::string out, error;
  int result = 0;
};

Outcome ExpectedOfBuild(Reader reader, bool isSent) {
  Outcome expected;
  expected.result = 666;
  if (!isSent) {
    return expected;
  }
  while (const std::optional<std::string> line = reader.String()) {
    std::string& stream = line->substr(0, 1) == "!" ? expected.error : expected.out;
    stream += line->empty() ? "" : line->c_str() + 1;
    stream += '\n';
  }
  expected.result = reader.Integer().value_or(666);
  return expected;
}

Outcome ExpectedOfStatus(Reader reader, bool isSent) {
  const std::optional<std::string> answer = isSent ? reader.String() : std::nullopt;
  PropertyMap status;
  status.Parse(answer.value_or("version=2.8.10"));
  if (status.GetProperty("version") == "2.8.10") {
    return {"", "", true};
  }
  return {"Version mis-match, restarting Assistant with version 2.8.10\n", "", -1};
}

Outcome Run(bool isStatus) {
  AssistantConnection assistant(std::make_unique<Socket>("127.0.0.1", 8118, 1, 2, 0));
  Outcome outcome;
  Collected out(stdout), error(stderr);
  try {
    // With no files to copy, an update ends before anything is written.
    outcome.result =
        isStatus ? assistant.EnsureVersion("absent/", "absent/") : RunAssistedCommand(assistant);
  } catch (const LaunchFailure&) {
    outcome.result = -1;
  }
  outcome.out = out.Text();
  outcome.error = error.Text();
  return outcome;
}

std::string Framed(const std::string& text) {
  return std::string(3, '\0') + static_cast<char>(text.size()) + text;
}

// Everything that a build sends, the texts being ASCII and short.
std::string BuildRequest() {
  static char* none[] = {nullptr};
  environ = none;
  const char* arguments[] = {"Torvel", "Build", "Game"};
  Singleton<CommandLineParameters>::GetInstance().Parse(3, arguments);
  CHECK(chdir("/") == 0);
  return Framed("Build") + std::string("\0\0\0\3", 4) + Framed("Game") +
         Framed("--environment=\"\"") + Framed("--workspace=/");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string buildRequest = BuildRequest();
  if (size < 2) {
    return 0;
  }
  const bool isStatus = (data[0] & 1) != 0;
  const Reader reader = {{reinterpret_cast<const char*>(data) + 2, size - 2}};
  g_network = {};
  g_network.incoming = reader.rest;
  g_network.endsInReset = (data[0] & 2) != 0;
  g_network.sendLimit = data[1] == 255 ? SIZE_MAX : data[1];
  const std::string request = isStatus ? Framed("Status") : buildRequest;
  const bool isSent = g_network.sendLimit >= request.size();
  const Outcome expected =
      isStatus ? ExpectedOfStatus(reader, isSent) : ExpectedOfBuild(reader, isSent);
  const Outcome actual = Run(isStatus);
  CHECK(actual.out == expected.out);
  CHECK(actual.error == expected.error);
  CHECK(actual.result == expected.result);
  CHECK(isSent ? g_network.sent == request
               : g_network.sent == request.substr(0, g_network.sent.size()));
  CHECK(g_network.opened == (isStatus || !isSent ? 1 : 2));
  CHECK(g_network.closed == g_network.opened);
  return 0;
}
