# The warnings, which are errors unless cmake is called with --compile-no-warning-as-error.
set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
add_library(warnings INTERFACE)
target_compile_options(warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
