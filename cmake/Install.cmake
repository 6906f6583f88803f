# What cmake --install lays out beside the program itself.
if(WIN32)
  return()
endif()
include(GNUInstallDirs)
install(FILES packaging/man/Torvel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/completion/Torvel DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
