// Stands before every source of Torvel_faults, so that each call the launcher makes of the system
// can fail: by a macro of the call's own name, since what lies behind the launcher must not see it.
//
// FAULT says which call fails and how: "name:occurrence:error", such as "CopyFileA:2:112". The file
// FAULT_LOG gets a line with the name of each call, and "failed" after the one that did; for each
// wait a line with its milliseconds, for each option of a socket a line with its name's number.
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
  template <typename Value>
  static Value Noted(const char* what, Value value) {
    const std::lock_guard<std::mutex> lock(Instance().mutex);
    Instance().log << what << ' ' << value << std::endl;
    return value;
  }
  static LSTATUS Error() { return Instance().error; }
};

#define FAULTY(call, failure, ...) (Faults::Instance().Fails(#call) ? failure : call(__VA_ARGS__))
#define fopen(...) FAULTY(fopen, nullptr, __VA_ARGS__)
#define _getcwd(...) FAULTY(_getcwd, nullptr, __VA_ARGS__)
#define _fullpath(...) FAULTY(_fullpath, nullptr, __VA_ARGS__)
#define LoadLibraryA(...) FAULTY(LoadLibraryA, nullptr, __VA_ARGS__)
#define GetProcAddress(...) FAULTY(GetProcAddress, nullptr, __VA_ARGS__)
#define OpenProcess(...) FAULTY(OpenProcess, nullptr, __VA_ARGS__)
#define CreateThread(...) FAULTY(CreateThread, nullptr, __VA_ARGS__)
#define gethostbyname(...) FAULTY(gethostbyname, nullptr, __VA_ARGS__)
#define _chdir(...) FAULTY(_chdir, -1, __VA_ARGS__)
#define _write(...) FAULTY(_write, -1, __VA_ARGS__)
#define CopyFileA(...) FAULTY(CopyFileA, FALSE, __VA_ARGS__)
#define SetFileAttributesA(...) FAULTY(SetFileAttributesA, FALSE, __VA_ARGS__)
#define GetVersionExA(...) FAULTY(GetVersionExA, FALSE, __VA_ARGS__)
#define SetDllDirectoryA(...) FAULTY(SetDllDirectoryA, FALSE, __VA_ARGS__)
#define SetThreadErrorMode(...) FAULTY(SetThreadErrorMode, FALSE, __VA_ARGS__)
#define CreateProcessA(...) FAULTY(CreateProcessA, FALSE, __VA_ARGS__)
#define GetExitCodeProcess(...) FAULTY(GetExitCodeProcess, FALSE, __VA_ARGS__)
#define TerminateProcess(...) FAULTY(TerminateProcess, FALSE, __VA_ARGS__)
#define CloseHandle(...) FAULTY(CloseHandle, FALSE, __VA_ARGS__)
#define Process32First(...) FAULTY(Process32First, FALSE, __VA_ARGS__)
#define Process32Next(...) FAULTY(Process32Next, FALSE, __VA_ARGS__)
#define FormatMessageA(...) FAULTY(FormatMessageA, DWORD{0}, __VA_ARGS__)
#define GetModuleFileNameA(...) FAULTY(GetModuleFileNameA, DWORD{0}, __VA_ARGS__)
#define SearchPathA(...) FAULTY(SearchPathA, DWORD{0}, __VA_ARGS__)
#define GetFileAttributesA(...) FAULTY(GetFileAttributesA, INVALID_FILE_ATTRIBUTES, __VA_ARGS__)
#define RegOpenKeyExA(...) FAULTY(RegOpenKeyExA, Faults::Error(), __VA_ARGS__)
#define RegQueryValueExA(...) FAULTY(RegQueryValueExA, Faults::Error(), __VA_ARGS__)
#define RegCloseKey(...) FAULTY(RegCloseKey, Faults::Error(), __VA_ARGS__)
#define CreateToolhelp32Snapshot(...) \
  FAULTY(CreateToolhelp32Snapshot, INVALID_HANDLE_VALUE, __VA_ARGS__)
#define WSAStartup(...) FAULTY(WSAStartup, int{Faults::Error()}, __VA_ARGS__)
#define WSASocketA(...) FAULTY(WSASocketA, INVALID_SOCKET, __VA_ARGS__)
#define inet_addr(...) FAULTY(inet_addr, INADDR_NONE, __VA_ARGS__)
#define WSACleanup(...) FAULTY(WSACleanup, SOCKET_ERROR, __VA_ARGS__)
#define WSAIoctl(...) FAULTY(WSAIoctl, SOCKET_ERROR, __VA_ARGS__)
#define WSAConnect(...) FAULTY(WSAConnect, SOCKET_ERROR, __VA_ARGS__)
#define WSASend(...) FAULTY(WSASend, SOCKET_ERROR, __VA_ARGS__)
#define WSARecv(...) FAULTY(WSARecv, SOCKET_ERROR, __VA_ARGS__)
#define shutdown(...) FAULTY(shutdown, SOCKET_ERROR, __VA_ARGS__)
#define closesocket(...) FAULTY(closesocket, SOCKET_ERROR, __VA_ARGS__)
#define setsockopt(socket, level, name, ...) \
  FAULTY(setsockopt, SOCKET_ERROR, socket, level, Faults::Noted("option", name), __VA_ARGS__)
#define WaitForSingleObject(handle, milliseconds) \
  FAULTY(WaitForSingleObject, WAIT_FAILED, handle, Faults::Noted("wait", milliseconds))

// Pauses are cut short: an update waits at least half a second.
#define Sleep(milliseconds) Sleep((milliseconds) / 500)
