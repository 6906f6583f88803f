# The one place that says which warnings count, and that they are errors.
add_library(warnings INTERFACE)
target_compile_options(warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
