# The checks of the sources, as tests. Where scripts/setup could not fetch a check's program, the check is skipped.
function(add_check name command)
  add_test(NAME ${name} COMMAND bash -c "set -o pipefail; ${command}" WORKING_DIRECTORY ${CMAKE_SOURCE_DIR})
  set_tests_properties(${name} PROPERTIES LABELS style)
  if(command MATCHES NOTFOUND)
    set_tests_properties(${name} PROPERTIES DISABLED ON)
  endif()
endfunction()
function(find_fetched variable path)
  find_program(${variable} ${path} HINTS $ENV{XDG_CACHE_HOME}/torvel $ENV{HOME}/.cache/torvel NO_DEFAULT_PATH)
endfunction()

find_fetched(CLANG_FORMAT clang-format/clang-format)
find_fetched(CLANG_TIDY clang-tidy/bin/clang-tidy)
find_fetched(RUFF ruff/ruff)
# Two checks ask git for the files: it refuses a source archive, and root in another user's checkout.
execute_process(COMMAND git rev-parse HEAD WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
  RESULT_VARIABLE git_failed OUTPUT_QUIET ERROR_VARIABLE git_reason)
add_check(format "git ls-files '*.cpp' '*.h' | xargs '${CLANG_FORMAT}' --dry-run -Werror")
add_check(includes scripts/check-includes)
add_check(shell "git grep -lE '^(#!.*sh|# shellcheck shell=.*)$' | xargs shellcheck")
add_check(python "'${RUFF}' check --no-cache .")
add_check(tidy "grep -oP '\"file\": \"\\K[^\"]+' '${CMAKE_BINARY_DIR}/compile_commands.json' |
  xargs -d '\\n' -P $(nproc) -n 1 '${CLANG_TIDY}' --quiet -p '${CMAKE_BINARY_DIR}'")
if(git_failed)
  message(NOTICE "The checks format and shell are skipped: ${git_reason}")
  set_tests_properties(format shell PROPERTIES DISABLED ON)
endif()
