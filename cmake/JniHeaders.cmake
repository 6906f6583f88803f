# jni.h comes from the JDK of the building machine. Its platform half, jni_md.h, comes from the same JDK on the host
# and from cmake/jni/windows for Torvel.exe, whose calling conventions that JDK does not know.
find_path(TORVEL_JNI_INCLUDE jni.h
  HINTS $ENV{JAVA_HOME}/include
  PATHS /usr/lib/jvm/default-java/include /usr/lib/jvm/java-17-openjdk-amd64/include
  NO_CMAKE_FIND_ROOT_PATH REQUIRED)
add_library(jni_headers INTERFACE)
if(WIN32)
  # A copy, so that the JDK's own folder (with the host's jni_md.h beside it) stays off the path.
  configure_file(${TORVEL_JNI_INCLUDE}/jni.h ${CMAKE_BINARY_DIR}/jni/jni.h COPYONLY)
  target_include_directories(jni_headers SYSTEM INTERFACE
    ${CMAKE_BINARY_DIR}/jni ${CMAKE_SOURCE_DIR}/cmake/jni/windows)
else()
  target_include_directories(jni_headers SYSTEM INTERFACE
    ${TORVEL_JNI_INCLUDE} ${TORVEL_JNI_INCLUDE}/linux)
endif()
