// A minimal, fast Assistant: answers `build --lines=N --sends=block` with N lines in large sends,
// and `--sends=line` with one send per line, as for a program that prints line by line. The return
// code is 7. Runs until killed.
#include <netinet/tcp.h>

#include "Framing.h"

namespace {

constexpr std::int32_t kReturnCode = 7;
constexpr std::int32_t kNullString = -1;

// Output lines, which end at m_Ends, prepared before the first send.
class Answer {
 public:
  void Prepare(long lines) {
    if (static_cast<long>(m_Ends.size()) == lines) {
      return;
    }
    m_Bytes.clear();
    m_Ends.clear();
    for (long i = 0; i < lines; ++i) {
      char line[64];
      std::snprintf(line, sizeof line, " Compiling com/drel/game/Class%07ld.java", i);
      AppendString(m_Bytes, line);
      m_Ends.push_back(m_Bytes.size());
    }
    AppendInt(m_Bytes, kNullString);
    AppendInt(m_Bytes, kReturnCode);
  }

  void Send(int descriptor, bool isLineByLine) const {
    std::size_t begin = 0;
    for (std::size_t i = 0; isLineByLine && i < m_Ends.size(); ++i) {
      SendAll(descriptor, m_Bytes.data() + begin, m_Ends[i] - begin);
      begin = m_Ends[i];
    }
    SendAll(descriptor, m_Bytes.data() + begin, m_Bytes.size() - begin);
  }

 private:
  std::string m_Bytes;
  std::vector<std::size_t> m_Ends;
};

// A silent connection, such as the keep-alive, ends when the peer closes it.
void Serve(int descriptor, Answer& answer) {
  UnitReader reader(descriptor);
  if (!reader.ReadString()) {
    return;
  }
  std::string status;
  AppendString(status, "cwd=/nonexistent|version=" TORVEL_VERSION);
  SendAll(descriptor, status.data(), status.size());

  std::int32_t count = 0;
  if (!reader.ReadString() || !reader.ReadInt(count)) {
    return;
  }
  std::vector<std::string> parameters;
  while (static_cast<std::int32_t>(parameters.size()) < count) {
    const auto parameter = reader.ReadString();
    if (!parameter) {
      return;
    }
    parameters.emplace_back(*parameter);
  }
  long lines = 0;
  if (count < 2 || std::sscanf(parameters[0].c_str(), "--lines=%ld", &lines) != 1) {
    return;
  }
  answer.Prepare(lines);
  answer.Send(descriptor, parameters[1] == "--sends=line");
}

}  // namespace

int main() {
  const int listener = Check(::socket(AF_INET, SOCK_STREAM, 0), "socket");
  const int on = 1;
  ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  const sockaddr_in address = LoopbackAddress(kAssistantPort);
  Check(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
  Check(::listen(listener, 16), "listen");
  std::puts("listening");
  std::fflush(stdout);
  for (Answer answer;;) {
    const int descriptor = Check(::accept(listener, nullptr, nullptr), "accept");
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Serve(descriptor, answer);
    ::close(descriptor);
  }
}
