# What cmake --install and the packages lay out. Windows has no folders of its own for programs' parts: there the program
# lies at the top, and the documents below doc.
if(WIN32)
  install(TARGETS Torvel DESTINATION .)
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
