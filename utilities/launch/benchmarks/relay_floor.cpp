// The floor of a relay: relay_floor --lines=N --sends=block|line. Asks the Assistant as the
// launcher does, reads the socket in blocks and writes each line with one call.
#include "Framing.h"

int main(int argc, char** argv) {
  std::string request;
  AppendString(request, "Status");
  AppendString(request, "Build");
  AppendInt(request, argc - 1);
  for (int i = 1; i < argc; ++i) {
    AppendString(request, argv[i]);
  }

  const int descriptor = Check(::socket(AF_INET, SOCK_STREAM, 0), "socket");
  const sockaddr_in address = LoopbackAddress(kAssistantPort);
  Check(::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address),
        "connect");
  SendAll(descriptor, request.data(), request.size());

  UnitReader reader(descriptor);
  reader.ReadString();
  std::string out;
  while (const auto line = reader.ReadString()) {
    out.assign(line->substr(1)).push_back('\n');
    Check(::write(1, out.data(), out.size()), "write");
  }
  std::int32_t code = 1;
  reader.ReadInt(code);
  return code;
}
