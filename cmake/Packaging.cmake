# The packages for Windows, of the installed files: <build>/Torvel-<version>-win64.zip, and .exe, the installer that
# packaging/NSIS.template.in describes.
if(NOT WIN32)
  return()
endif()

set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-win64)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR})
set(CPACK_PACKAGE_VENDOR ${PROJECT_NAME})
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/PackagedFiles.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/PackagedZip.cmake)
set(CPACK_JAR ${Java_JAR_EXECUTABLE})
# CPack takes the installer's script from the module path.
list(APPEND CMAKE_MODULE_PATH ${CMAKE_SOURCE_DIR}/packaging)
include(CPack)
