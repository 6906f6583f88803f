# Run by CPack before a package is made of the folder. Gives the files the time of the commit; writes what the installer's
# remover deletes, file by file, because what the user adds to the folders is the user's.
set(root ${CPACK_TEMPORARY_DIRECTORY})
file(GLOB_RECURSE entries LIST_DIRECTORIES true RELATIVE ${root} ${root}/*)
list(SORT entries ORDER DESCENDING) # a folder comes after what is in it
list(TRANSFORM entries PREPEND ${root}/ OUTPUT_VARIABLE files)
execute_process(COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/../scripts/lib/source-date
  OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND touch -d ${date} ${files} COMMAND_ERROR_IS_FATAL ANY)
set(script "")
foreach(entry IN LISTS entries)
  set(command Delete)
  if(IS_DIRECTORY ${root}/${entry})
    set(command RMDir) # which leaves one that holds anything else
  endif()
  string(REPLACE / \\ path ${entry})
  string(APPEND script "${command} \"$INSTDIR\\${path}\"\n")
endforeach()
file(WRITE ${CPACK_TOPLEVEL_DIRECTORY}/remove-files.nsh "${script}")
