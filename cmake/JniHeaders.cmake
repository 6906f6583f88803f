# jni.h comes from the JDK at hand, and so does jni_md.h on Linux, which has a platform's types and calling convention.
# For Torvel.exe that file is cmake/jni/windows/jni_md.h.
find_path(TORVEL_JNI_INCLUDE jni.h
  HINTS $ENV{JAVA_HOME}/include
  PATHS /usr/lib/jvm/default-java/include /usr/lib/jvm/java-17-openjdk-amd64/include
  NO_CMAKE_FIND_ROOT_PATH REQUIRED)
add_library(jni_headers INTERFACE)
if(WIN32)
  # A copy: the JDK's folder, with jni_md.h for Linux, stays off the include path.
  configure_file(${TORVEL_JNI_INCLUDE}/jni.h ${CMAKE_BINARY_DIR}/jni/jni.h COPYONLY)
  target_include_directories(jni_headers SYSTEM INTERFACE
    ${CMAKE_BINARY_DIR}/jni ${CMAKE_SOURCE_DIR}/cmake/jni/windows)
else()
  target_include_directories(jni_headers SYSTEM INTERFACE
    ${TORVEL_JNI_INCLUDE} ${TORVEL_JNI_INCLUDE}/linux)
endif()
