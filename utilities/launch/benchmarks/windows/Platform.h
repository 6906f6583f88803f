// The platform-specific part of the benchmark programs.
#pragma once

#include <winsock2.h>
#include <windows.h>
#include <io.h>
#include <tlhelp32.h>

using Size = int;  // the type of a length to send or write
constexpr int kSendFlags = 0;

// Waits for the parent process, as a client must that ends with it.
inline DWORD WINAPI WatchParent(void*) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  BOOL found = Process32First(snapshot, &entry);
  while (found && entry.th32ProcessID != GetCurrentProcessId()) {
    found = Process32Next(snapshot, &entry);
  }
  CloseHandle(snapshot);
  WaitForSingleObject(OpenProcess(SYNCHRONIZE, FALSE, entry.th32ParentProcessID), INFINITE);
  return 0;
}

inline void StartPlatform() {
  WSADATA data;
  WSAStartup(MAKEWORD(2, 2), &data);
  CreateThread(nullptr, 0, WatchParent, nullptr, 0, nullptr);
}
