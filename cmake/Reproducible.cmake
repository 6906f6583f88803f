# The same bytes from the same sources, wherever and whenever they are built: no path of this machine, no time of the linker.
# Not with Microsoft's compiler.
# The later map counts first: the build folder may be in that of the sources.
if(MSVC)
  return()
endif()
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
if(WIN32 AND CMAKE_CXX_COMPILER_ID STREQUAL GNU) # Zig's linker does not know the option
  add_link_options(-Wl,--no-insert-timestamp)
endif()
