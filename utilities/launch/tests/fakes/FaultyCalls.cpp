// FAULT says which call fails and how: "name:occurrence:error", such as "CopyFileA:2:112".
// FAULT_LOG names a file that gets the name of each call, and "failed" after the one that did.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <string>

namespace {

struct Fault {
  std::string call;
  int occurrence = 0;
  DWORD error = 0;
};

Fault ReadFault() {
  const char* text = getenv("FAULT");
  const std::string fault = text == nullptr ? "" : text;
  const size_t first = fault.find(':');
  if (first == std::string::npos) return {};
  const size_t second = fault.find(':', first + 1);
  return {fault.substr(0, first), atoi(fault.c_str() + first + 1),
          static_cast<DWORD>(atoi(fault.c_str() + second + 1))};
}

// Made once and never destroyed: calls go on while the process ends.
struct State {
  const Fault fault = ReadFault();
  const int log = getenv("FAULT_LOG") == nullptr
                      ? -1
                      : open(getenv("FAULT_LOG"), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  std::mutex mutex;
  std::map<std::string, int> counts;
  SOCKET broken = INVALID_SOCKET;
};

State& TheState() {
  static State& state = *new State;
  return state;
}

void Log(const std::string& line) {
  if (TheState().log >= 0 && write(TheState().log, line.data(), line.size()) < 0) abort();
}

}  // namespace

namespace faults {

bool Fails(const char* call) {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  const bool fails = ++state.counts[call] == state.fault.occurrence && state.fault.call == call;
  Log(std::string(call) + (fails ? " failed\n" : "\n"));
  if (fails) SetLastError(state.fault.error);
  return fails;
}

bool FailsOn(SOCKET socket, const char* call) {
  State& state = TheState();
  const bool fails = Fails(call) || state.broken == socket;
  if (fails) {
    state.broken = socket;
    SetLastError(state.fault.error);
  }
  return fails;
}

DWORD Error() {
  return TheState().fault.error;
}

}  // namespace faults
