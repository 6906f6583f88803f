# The one place that says which warnings count, and that they are errors (but see cmake --compile-no-warning-as-error).
set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
add_library(warnings INTERFACE)
target_compile_options(warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
