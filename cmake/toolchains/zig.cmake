# 64-bit Windows with the Clang and the libraries of the wheel ziglang: the C runtime UCRT, libc++. The other tools are those
# of mingw-w64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
find_program(ZIG zig/zig HINTS $ENV{XDG_CACHE_HOME}/torvel $ENV{HOME}/.cache/torvel NO_DEFAULT_PATH)
if(NOT ZIG)
  message(FATAL_ERROR "scripts/setup windows-clang has not fetched ziglang")
endif()
set(CMAKE_C_COMPILER ${ZIG} cc -target x86_64-windows-gnu)
set(CMAKE_CXX_COMPILER ${ZIG} c++ -target x86_64-windows-gnu)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_AR x86_64-w64-mingw32-ar)
set(CMAKE_RANLIB x86_64-w64-mingw32-ranlib)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)
