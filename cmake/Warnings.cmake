# The warnings, which are errors unless cmake is called with --compile-no-warning-as-error.
set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
add_library(warnings INTERFACE)
if(MSVC)
  # Not 4996, functions that Microsoft advises against; not 5030, attributes of other compilers.
  target_compile_options(warnings INTERFACE /W4 /wd4996 /wd5030)
else()
  target_compile_options(warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
endif()
