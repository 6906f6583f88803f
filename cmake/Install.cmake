# The layout of cmake --install and of the packages. On Windows: the program and the documents at the top, where their
# links find each other, and the sample as a workspace that is ready to use.
if(WIN32)
  set(programs .)
  set(documents .)
  install(DIRECTORY ${CMAKE_BINARY_DIR}/package/sample DESTINATION . PATTERN state.txt EXCLUDE)
else()
  include(GNUInstallDirs)
  set(programs ${CMAKE_INSTALL_BINDIR})
  set(documents ${CMAKE_INSTALL_DOCDIR})
  install(FILES packaging/man/Torvel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES packaging/completion/Torvel DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()
install(TARGETS Torvel DESTINATION ${programs})
if(CMAKE_STRIP)
  # The build folder keeps the debug information. Without -p, `strip` writes the time into the program for Windows.
  install(CODE "execute_process(COMMAND \"${CMAKE_STRIP}\" -p
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${programs}/$<TARGET_FILE_NAME:Torvel>\" COMMAND_ERROR_IS_FATAL ANY)")
endif()
install(FILES README.md CHANGELOG.md SECURITY.md DESTINATION ${documents})
install(DIRECTORY docs DESTINATION ${documents} FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
install(SCRIPT cmake/PlainLinks.cmake)
