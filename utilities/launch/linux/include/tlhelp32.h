#pragma once
// The process snapshot of the Tool Help library.

#include "windows.h"

constexpr DWORD TH32CS_SNAPPROCESS = 2;

struct PROCESSENTRY32 {
  DWORD dwSize;
  DWORD th32ProcessID;
  DWORD th32ParentProcessID;
};

// The caller closes the snapshot with CloseHandle; INVALID_HANDLE_VALUE on failure.
HANDLE WINAPI CreateToolhelp32Snapshot(DWORD flags, DWORD processId);
BOOL WINAPI Process32First(HANDLE snapshot, PROCESSENTRY32* entry);
BOOL WINAPI Process32Next(HANDLE snapshot, PROCESSENTRY32* entry);
