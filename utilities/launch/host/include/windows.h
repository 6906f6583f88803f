#pragma once
// The part of Win32 that the launcher calls, with Windows' own names, values and layouts, on a
// POSIX host.
//
// Text is narrow: bytes as the system has them. A path may use either separator. What a call does
// not support it refuses with the error code that Win32 gives for a wrong argument. Where a call
// differs from Windows, the list stands above its body.

#include <cstddef>
#include <cstdint>

#define WINAPI

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG_PTR = std::uintptr_t;
using CHAR = char;
using LPSTR = char*;
using LPCSTR = const char*;
using LPBYTE = BYTE*;
using LPDWORD = DWORD*;
using LPVOID = void*;
using LPCVOID = const void*;
using HANDLE = void*;
using HLOCAL = void*;
using HMODULE = struct HMODULE__*;
using FARPROC = std::intptr_t (*)();

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;
constexpr int MAX_PATH = 260;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

// --- Errors: one slot per thread ---

constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD NO_ERROR = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_NO_MORE_FILES = 18;
constexpr DWORD ERROR_WRITE_PROTECT = 19;
constexpr DWORD ERROR_BAD_LENGTH = 24;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_RESOURCE_LANG_NOT_FOUND = 1815;
constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD code);

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
constexpr WORD LANG_NEUTRAL = 0;
constexpr WORD SUBLANG_DEFAULT = 1;
constexpr WORD MAKELANGID(WORD primary, WORD sub) {
  return static_cast<WORD>(sub << 10 | primary);
}

// The caller releases the text with LocalFree. Returns its length without the NUL, 0 on failure.
DWORD WINAPI FormatMessageA(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPSTR buffer,
                            DWORD size, void* arguments);
HLOCAL WINAPI LocalFree(HLOCAL memory);

// --- Registry, read only. Results are error codes; the last-error slot stays as it is. ---

using HKEY = struct HKEY__*;
using LSTATUS = LONG;
using REGSAM = DWORD;
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});
constexpr REGSAM KEY_READ = 0x20019;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;

LSTATUS WINAPI RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, HKEY* result);
LSTATUS WINAPI RegQueryValueExA(HKEY key, LPCSTR valueName, LPDWORD reserved, LPDWORD type,
                                LPBYTE data, LPDWORD size);
LSTATUS WINAPI RegCloseKey(HKEY key);

// --- Libraries. A loaded library stays until the process ends. ---

HMODULE WINAPI LoadLibraryA(LPCSTR fileName);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);

// --- Processes and threads. Handles are closed with CloseHandle. ---

struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct STARTUPINFOA {
  DWORD cb;
  LPSTR lpReserved;
  LPSTR lpDesktop;
  LPSTR lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  LPBYTE lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};

struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
  DWORD dwThreadId;
};

constexpr DWORD SYNCHRONIZE = 0x100000;
constexpr DWORD PROCESS_QUERY_INFORMATION = 0x400;
constexpr DWORD STILL_ACTIVE = 259;
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

// Returns the length without the NUL, the size needed when the buffer is too small, 0 when nothing
// is found.
DWORD WINAPI SearchPathA(LPCSTR path, LPCSTR fileName, LPCSTR extension, DWORD size, LPSTR buffer,
                         LPSTR* filePart);
BOOL WINAPI CreateProcessA(LPCSTR application, LPSTR commandLine, LPSECURITY_ATTRIBUTES process,
                           LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags,
                           LPVOID environment, LPCSTR directory, STARTUPINFOA* startup,
                           PROCESS_INFORMATION* information);
HANDLE WINAPI OpenProcess(DWORD access, BOOL inheritHandle, DWORD processId);
BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD exitCode);
DWORD WINAPI GetCurrentProcessId();
DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
BOOL WINAPI CloseHandle(HANDLE handle);

using LPTHREAD_START_ROUTINE = DWORD(WINAPI*)(LPVOID);
HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES attributes, std::size_t stackSize,
                           LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
                           LPDWORD threadId);
[[noreturn]] void WINAPI ExitThread(DWORD exitCode);
void WINAPI Sleep(DWORD milliseconds);

// --- Files ---

constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

BOOL WINAPI CopyFileA(LPCSTR existing, LPCSTR target, BOOL failIfExists);
DWORD WINAPI GetFileAttributesA(LPCSTR fileName);
BOOL WINAPI SetFileAttributesA(LPCSTR fileName, DWORD attributes);

DWORD WINAPI GetModuleFileNameA(HMODULE module, LPSTR fileName, DWORD size);
BOOL WINAPI SetDllDirectoryA(LPCSTR path);
constexpr DWORD SEM_FAILCRITICALERRORS = 1;
BOOL WINAPI SetThreadErrorMode(DWORD mode, LPDWORD former);
HANDLE WINAPI GetCurrentProcess();
BOOL WINAPI TerminateProcess(HANDLE process, unsigned exitCode);
