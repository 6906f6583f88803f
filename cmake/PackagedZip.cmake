# Run by CPack after a package is made: makes the zip again with `jar`, since that of CPack has the times at which each file
# was read and changed. A `jar` before Java 17 cannot set the time; then CPack's zip stays.
if(NOT CPACK_PACKAGE_FILES MATCHES "\\.zip$")
  return()
endif()
execute_process(COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/../scripts/lib/source-date
  OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CPACK_JAR} --create --no-manifest --date=${date} --file ${CPACK_PACKAGE_FILES}.new
    -C ${CPACK_TOPLEVEL_DIRECTORY} ${CPACK_PACKAGE_FILE_NAME}
  RESULT_VARIABLE result)
if(result EQUAL 0)
  file(RENAME ${CPACK_PACKAGE_FILES}.new ${CPACK_PACKAGE_FILES})
endif()
