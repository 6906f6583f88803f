// The stack protector's runtime. It replaces the compiler's library, which loads Windows'
// cryptography at each start: half of the usage text's time under Wine. The guard is made like the
// security cookie of Microsoft's compiler.

#include <windows.h>

#include <cstdint>
#include <cstdlib>

namespace {

const char kOverflowText[] = "*** stack smashing detected ***: terminated\r\n";

// An odd constant with its one bits spread evenly, from a published hash function's mixing step.
constexpr std::uintptr_t kMixer = 0xD6E8FEB86659FD93;

// Diffuses each bit over the whole value.
std::uintptr_t Mixed(std::uintptr_t value) {
  value = (value ^ value >> 32) * kMixer;
  value = (value ^ value >> 32) * kMixer;
  return value ^ value >> 32;
}

}  // namespace

extern "C" {

extern std::uintptr_t __stack_chk_guard;
std::uintptr_t __stack_chk_guard = 0;
[[noreturn]] void __stack_chk_fail();

// Runs before any protected code.
__attribute__((constructor(101), no_stack_protector)) void MakeStackGuard() {
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  LARGE_INTEGER counter;
  QueryPerformanceCounter(&counter);
  std::uintptr_t value = Mixed(reinterpret_cast<std::uintptr_t>(&time));  // a random address
  value = Mixed(value ^ static_cast<std::uintptr_t>(counter.QuadPart));
  value = Mixed(value ^ (std::uintptr_t{time.dwHighDateTime} << 32 | time.dwLowDateTime));
  value = Mixed(value ^ (std::uintptr_t{GetCurrentProcessId()} << 32 | GetCurrentThreadId()));
  // The first byte is NUL, so that a string overflow cannot reproduce the guard.
  __stack_chk_guard = value & ~std::uintptr_t{0xFF};
}

void __stack_chk_fail() {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), kOverflowText, sizeof kOverflowText - 1, &written,
            nullptr);
  TerminateProcess(GetCurrentProcess(), 3);
  abort();  // not reached
}
}
