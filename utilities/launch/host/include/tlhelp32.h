#pragma once
// The process snapshot of the Tool Help library.

#include "windows.h"

constexpr DWORD TH32CS_SNAPPROCESS = 2;

struct PROCESSENTRY32 {
  DWORD dwSize;
  DWORD cntUsage;
  DWORD th32ProcessID;
  ULONG_PTR th32DefaultHeapID;
  DWORD th32ModuleID;
  DWORD cntThreads;
  DWORD th32ParentProcessID;
  LONG pcPriClassBase;
  DWORD dwFlags;
  CHAR szExeFile[MAX_PATH];
};

// The caller closes the snapshot with CloseHandle; INVALID_HANDLE_VALUE on failure.
HANDLE WINAPI CreateToolhelp32Snapshot(DWORD flags, DWORD processId);
BOOL WINAPI Process32First(HANDLE snapshot, PROCESSENTRY32* entry);
BOOL WINAPI Process32Next(HANDLE snapshot, PROCESSENTRY32* entry);
