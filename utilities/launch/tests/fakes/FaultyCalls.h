// Stands before every source of Torvel_faults, so that each call the launcher makes of the system
// can fail: by a macro of the call's own name, since what lies behind the launcher must not see it.
//
// FAULT says which call fails and how: "name:occurrence:error", such as "CopyFileA:2:112". The file
// FAULT_LOG gets a line with the name of each call, and "failed" after the one that did.
#pragma once
#include <direct.h>
#include <io.h>
#include <mstcpip.h>
#include <stdio.h>
#include <tlhelp32.h>

#include <fstream>
#include <map>
#include <mutex>
#include <string>

struct Faults {
  char call[40] = "";
  int occurrence = 0, error = 0;
  std::map<std::string, int> counts;
  std::mutex mutex;
  std::ofstream log{getenv("FAULT_LOG"), std::ios::app};

  Faults() {
    const char* fault = getenv("FAULT");
    if (fault != nullptr) sscanf(fault, "%39[^:]:%d:%d", call, &occurrence, &error);
  }
  static Faults& Instance() {
    static Faults& instance = *new Faults;  // never destroyed: calls go on while the process ends
    return instance;
  }
  // Counts the call. True when it is the one to fail; its error is then the last one.
  bool Fails(const char* name) {
    const std::lock_guard<std::mutex> lock(mutex);
    const bool fails = ++counts[name] == occurrence && name == std::string(call);
    log << name << (fails ? " failed" : "") << std::endl;
    if (fails) SetLastError(static_cast<DWORD>(error));
    return fails;
  }
  static LSTATUS Error() { return Instance().error; }
};

#define FAULTY(call, failure, ...) (Faults::Instance().Fails(#call) ? failure : call(__VA_ARGS__))
#include "FaultyCallsList.h"

// Pauses are cut short: an update waits at least half a second.
#define Sleep(milliseconds) Sleep((milliseconds) / 500)
