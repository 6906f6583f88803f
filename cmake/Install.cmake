# The layout of cmake --install and of the packages. On Windows: the program at the top, the documents in doc, and the
# sample as a workspace that is ready to use.
install(CODE "set(CMAKE_INSTALL_DO_STRIP ON)") # as --strip; the build folder keeps the debug information
if(WIN32)
  install(TARGETS Torvel DESTINATION .)
  install(DIRECTORY ${CMAKE_BINARY_DIR}/package/sample DESTINATION . PATTERN state.txt EXCLUDE)
  set(documents doc)
else()
  include(GNUInstallDirs)
  install(TARGETS Torvel)
  install(FILES packaging/man/Torvel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES packaging/completion/Torvel DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  set(documents ${CMAKE_INSTALL_DOCDIR})
endif()
install(FILES README.md CHANGELOG.md SECURITY.md DESTINATION ${documents})
install(DIRECTORY docs DESTINATION ${documents} FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
