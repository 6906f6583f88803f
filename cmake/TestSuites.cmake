# add_suite(<name> <label> <command>...): a test that runs in the build folder; for Torvel.exe with a Wine prefix there.
# Wine reads paths in the encoding of the locale.
function(add_suite name label)
  add_test(NAME ${name} COMMAND ${ARGN} WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
  set_tests_properties(${name} PROPERTIES LABELS ${label})
  if(WIN32 AND CMAKE_CROSSCOMPILING)
    set_tests_properties(${name} PROPERTIES
      FIXTURES_REQUIRED wine
      RESOURCE_LOCK wine
      ENVIRONMENT "WINEPREFIX=${CMAKE_BINARY_DIR}/wine;WINEDEBUG=-all;WINEDLLOVERRIDES=mscoree,mshtml=;LC_ALL=C.UTF-8"
      ENVIRONMENT_MODIFICATION PATH=path_list_append:/usr/lib/wine)
  endif()
endfunction()

# add_googletest(<name> <program>), add_pytest(<folder> <lock>): a suite that reports its cases to results/<name>.xml
# there. The file is empty until then, for scripts/test to tell a suite that has not reported. Of the suites with the same
# lock one runs at a time.
function(add_googletest name program)
  file(WRITE ${CMAKE_BINARY_DIR}/results/${name}.xml "")
  add_suite(${name} googletest ${program} --gtest_brief=1 --gtest_output=xml:results/${name}.xml)
endfunction()
function(add_pytest folder lock)
  file(WRITE ${CMAKE_BINARY_DIR}/results/${folder}.xml "")
  # Debian's Python: python3-pytest is installed for it.
  add_suite(${folder} pytest /usr/bin/python3 -m pytest -q -p no:cacheprovider ${CMAKE_SOURCE_DIR}/utilities/launch/tests/${folder}
    --product $<IF:$<BOOL:${WIN32}>,windows,linux> --build ${CMAKE_BINARY_DIR} --junitxml=results/${folder}.xml)
  set_property(TEST ${folder} APPEND PROPERTY RESOURCE_LOCK ${lock})
endfunction()
