// The lower bound for a request and its relay: relay_floor --lines=N --sends=block|line
// --variables=whole|each
//
// Sends the launcher's request with one send per message, reads the socket in blocks of 64 KiB and
// writes each line with one call. The environment is one message, as in the launcher, or one
// message per variable, as in similar clients.
#include "Framing.h"

namespace {

void SendInt(Connection connection, std::int32_t value) {
  std::string message;
  AppendInt(message, value);
  SendAll(connection, message.data(), message.size());
}

void SendString(Connection connection, const std::string& text) {
  std::string message;
  AppendString(message, text);
  SendAll(connection, message.data(), message.size());
}

// The parameters that carry the environment.
std::vector<std::string> Environment(bool isEach) {
  std::vector<std::string> texts;
  std::string whole;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (isEach) {
      texts.push_back(*entry);
    } else {
      whole.append(whole.empty() ? "" : "|").append(*entry);
    }
  }
  if (!isEach) {
    texts.push_back(whole);
  }
  return texts;
}

}  // namespace

int main(int argc, char** argv) {
  StartPlatform();
  const Connection connection = ::socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in address = LoopbackAddress(kAssistantPort);
  const int on = 1;
  ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
  Check(::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address),
        "connect");
  UnitReader reader(connection);
  SendString(connection, "Status");
  reader.ReadString();
  const std::vector<std::string> environment =
      Environment(std::strcmp(argv[argc - 1], "--variables=each") == 0);
  SendString(connection, "Build");
  SendInt(connection, argc - 1 + static_cast<std::int32_t>(environment.size()));
  for (int i = 1; i < argc; ++i) {
    SendString(connection, argv[i]);
  }
  for (const std::string& text : environment) {
    SendString(connection, text);
  }

  std::string out;
  while (const auto line = reader.ReadString()) {
    out.assign(line->substr(1)).push_back('\n');
    Check(::write(1, out.data(), static_cast<Size>(out.size())), "write");
  }
  std::int32_t code = 1;
  reader.ReadInt(code);
  return code;
}
