#pragma once
// The part of Win32 that the launcher calls, with the names and values of Windows, on POSIX.
//
// Strings are narrow and not converted. Paths accept either separator. To keep unsupported uses
// from compiling, parameters that the launcher leaves null accept only null, and structures have
// only the members in use. A list above each function's body states how it differs from Windows.

#include <cstddef>
#include <cstdint>

#define WINAPI

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPDWORD = DWORD*;
using LPVOID = void*;

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
constexpr int MAX_PATH = 260;

// See Handles.h.
using HANDLE = void*;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

// --- Errors: one slot per thread ---

constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_NO_MORE_FILES = 18;
constexpr DWORD ERROR_WRITE_PROTECT = 19;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_BROKEN_PIPE = 109;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
constexpr DWORD ERROR_NO_DATA = 232;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD code);

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

// The caller frees the text with LocalFree. Returns its length without the NUL, 0 on failure.
DWORD WINAPI FormatMessageA(DWORD flags, std::nullptr_t source, DWORD code, DWORD language,
                            LPSTR buffer, DWORD size, std::nullptr_t arguments);
LPVOID WINAPI LocalFree(LPVOID memory);

struct OSVERSIONINFOA {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
};
BOOL WINAPI GetVersionExA(OSVERSIONINFOA* information);

// --- Registry, read-only. Returns error codes; the last error is unchanged. ---

using HKEY = struct HKEY__*;
using LSTATUS = std::int32_t;
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});
constexpr DWORD KEY_READ = 0x20019;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_BINARY = 3;

LSTATUS WINAPI RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, DWORD access, HKEY* result);
LSTATUS WINAPI RegQueryValueExA(HKEY key, LPCSTR valueName, std::nullptr_t reserved, LPDWORD type,
                                BYTE* data, LPDWORD size);
LSTATUS WINAPI RegCloseKey(HKEY key);

// --- Libraries. Never unloaded. ---

using HMODULE = struct HMODULE__*;
using FARPROC = std::intptr_t (*)();
constexpr DWORD SEM_FAILCRITICALERRORS = 1;

HMODULE WINAPI LoadLibraryA(LPCSTR fileName);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
// Returns the length without the NUL; `size`, with the text truncated, if it does not fit.
DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size);
BOOL WINAPI SetDllDirectoryA(LPCSTR path);
BOOL WINAPI SetThreadErrorMode(DWORD mode, LPDWORD oldMode);

// --- Processes and threads. Handles are closed with CloseHandle. ---

using LPSECURITY_ATTRIBUTES = std::nullptr_t;

struct STARTUPINFOA {
  DWORD cb;
};

struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
};

constexpr DWORD SYNCHRONIZE = 0x100000;
constexpr DWORD PROCESS_QUERY_INFORMATION = 0x400;
constexpr DWORD STILL_ACTIVE = 259;
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

// Returns the length without the NUL, the required size if the buffer is too small, 0 if not found.
DWORD WINAPI SearchPathA(std::nullptr_t path, LPCSTR fileName, LPCSTR extension, DWORD size,
                         LPSTR buffer, std::nullptr_t filePart);
BOOL WINAPI CreateProcessA(LPCSTR application, LPSTR commandLine, LPSECURITY_ATTRIBUTES process,
                           LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags,
                           std::nullptr_t environment, std::nullptr_t directory,
                           STARTUPINFOA* startup, PROCESS_INFORMATION* information);
HANDLE WINAPI OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId);
BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
HANDLE WINAPI GetCurrentProcess();  // cannot be waited for or closed
DWORD WINAPI GetCurrentProcessId();
BOOL WINAPI TerminateProcess(HANDLE process, unsigned exitCode);
DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
BOOL WINAPI CloseHandle(HANDLE handle);

using LPTHREAD_START_ROUTINE = DWORD(WINAPI*)(LPVOID);
HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES attributes, std::size_t stackSize,
                           LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
                           std::nullptr_t threadId);
[[noreturn]] void WINAPI ExitThread(DWORD exitCode);
void WINAPI Sleep(DWORD milliseconds);

// --- Files ---

constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

BOOL WINAPI CopyFileA(LPCSTR existing, LPCSTR target, BOOL failIfExists);
DWORD WINAPI GetFileAttributesA(LPCSTR fileName);
BOOL WINAPI SetFileAttributesA(LPCSTR fileName, DWORD attributes);
