# jni.h comes from the JDK at hand, and so does jni_md.h on Linux, which has a platform's types and calling convention.
# For Torvel.exe that file is cmake/jni/windows/jni_md.h.
find_package(Java REQUIRED COMPONENTS Development) # JAVA_HOME, else the javac on PATH
file(REAL_PATH ${Java_JAVAC_EXECUTABLE} javac)
cmake_path(SET jdk_headers NORMALIZE ${javac}/../../include)
add_library(jni_headers INTERFACE)
if(WIN32)
  # A copy: the JDK's folder, with jni_md.h for Linux, stays off the include path.
  configure_file(${jdk_headers}/jni.h ${CMAKE_BINARY_DIR}/jni/jni.h COPYONLY)
  target_include_directories(jni_headers SYSTEM INTERFACE
    ${CMAKE_BINARY_DIR}/jni ${CMAKE_SOURCE_DIR}/cmake/jni/windows)
else()
  target_include_directories(jni_headers SYSTEM INTERFACE ${jdk_headers} ${jdk_headers}/linux)
endif()
