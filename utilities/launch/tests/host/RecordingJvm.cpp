// A runtime's library that keeps the options it was given, for RecordedOptions to tell.
#include <jni.h>

#include <string>

namespace {
std::string g_Options;
}

extern "C" const char* RecordedOptions();
const char* RecordedOptions() {
  return g_Options.c_str();
}

extern "C" jint JNI_CreateJavaVM(JavaVM**, void**, void* arguments) {
  const auto* init = static_cast<const JavaVMInitArgs*>(arguments);
  for (jint i = 0; i < init->nOptions; ++i) {
    g_Options += std::string(init->options[i].optionString) +
                 (init->options[i].extraInfo != nullptr ? "+|" : "|");
  }
  return -init->nOptions;
}
