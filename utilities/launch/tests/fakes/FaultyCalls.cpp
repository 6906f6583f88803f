// FAULT says which call fails and how: "name:occurrence:error", such as "CopyFileA:2:112". The file
// FAULT_LOG gets a line with the name of each call, and "failed" after the one that did.
#include <stdlib.h>

#include <fstream>
#include <map>
#include <mutex>
#include <string>

namespace {

struct State {
  State() {
    const char* fault = getenv("FAULT");
    if (fault != nullptr) sscanf(fault, "%39[^:]:%d:%d", call, &occurrence, &error);
  }

  char call[40] = "";
  int occurrence = 0, error = 0;
  SOCKET broken = INVALID_SOCKET;
  std::map<std::string, int> counts;
  std::mutex mutex;
  std::ofstream log{getenv("FAULT_LOG"), std::ios::app};
};

State& TheState() {
  static State& state = *new State;  // never destroyed: calls go on while the process ends
  return state;
}

}  // namespace

bool faults::Fails(const char* call) {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  const bool fails = ++state.counts[call] == state.occurrence && call == std::string(state.call);
  state.log << call << (fails ? " failed" : "") << std::endl;
  if (fails) SetLastError(static_cast<DWORD>(state.error));
  return fails;
}

bool faults::FailsOn(SOCKET socket, const char* call) {
  State& state = TheState();
  if (!Fails(call) && state.broken != socket) return false;
  state.broken = socket;
  SetLastError(static_cast<DWORD>(state.error));
  return true;
}

LSTATUS faults::Error() {
  return TheState().error;
}
