#include <jni.h>

#include "Fake.h"

extern "C" JNIEXPORT jint JNICALL JNI_GetDefaultJavaVMInitArgs(void* args) {
  auto* defaults = static_cast<JavaVMInitArgs*>(args);
  char line[32];
  std::snprintf(line, sizeof line, "defaults %08x", static_cast<unsigned>(defaults->version));
  Record("FAKE_JVM_LOG", line);
  defaults->ignoreUnrecognized = JNI_TRUE;  // the caller must not rely on what it gets here
  return JNI_OK;
}
