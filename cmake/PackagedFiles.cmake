# Run by CPack before the installer is made: writes what its remover deletes, file by file, because what the user adds to
# the folders is the user's.
set(root ${CPACK_TEMPORARY_DIRECTORY})
file(GLOB_RECURSE entries LIST_DIRECTORIES true RELATIVE ${root} ${root}/*)
list(SORT entries ORDER DESCENDING) # a folder comes after what is in it
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
