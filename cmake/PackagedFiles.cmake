# Run by CPack before the installer is made: writes what its remover deletes of the sample, file by file, because what the
# user adds there is the user's.
file(GLOB_RECURSE entries LIST_DIRECTORIES true RELATIVE ${CPACK_TEMPORARY_DIRECTORY} ${CPACK_TEMPORARY_DIRECTORY}/sample/*)
list(APPEND entries sample)
list(SORT entries ORDER DESCENDING) # a folder comes after what is in it
set(script "")
foreach(entry IN LISTS entries)
  set(command Delete)
  if(IS_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY}/${entry})
    set(command RMDir)
  endif()
  string(REPLACE / \\ path ${entry})
  string(APPEND script "${command} \"$INSTDIR\\${path}\"\n")
endforeach()
file(WRITE ${CPACK_TOPLEVEL_DIRECTORY}/remove-sample.nsh "${script}")
