// A Java runtime's library without a Java runtime. It appends each call to the file FAKE_JVM_LOG.
// FAKE_JVM selects its behaviour:
//   defaults-fail, create=N       results of JNI_GetDefaultJavaVMInitArgs and JNI_CreateJavaVM
//   no-class, no-main, no-array   lookups that find nothing
//   exception                     main throws
//   exit=N, late-exit=N           ends the process as HotSpot does, in main or in DestroyJavaVM:
//                                 calls the exit hook, then exit
//   hook=N                        main calls the exit hook and returns
//   prints                        main writes one line to standard output and flushes it
//   sleeps=MS, load-sleeps=MS     main sleeps; the library sleeps while it is loaded
//   logs-exit                     logs when the process runs its exit handlers
#include <jni.h>

#include <cstdarg>
#include <deque>

#include "Fake.h"

namespace {

// Each Java object is a text: a class's name, a string, an array's elements. References stay valid
// while the deque grows. It is never destroyed: main may still run while the process exits.
std::deque<std::string>& objects = *new std::deque<std::string>;
void (*exitHook)(jint) = nullptr;
bool pending = false;
int mainMethod = 0;  // its address is the method's id

void Log(const std::string& line) {
  Record("FAKE_JVM_LOG", line);
}
std::optional<int> Asked(const char* name) {
  return Scenario("FAKE_JVM", name);
}
template <class Reference>
Reference MakeObject(const std::string& text) {
  return reinterpret_cast<Reference>(&objects.emplace_back(text));
}
std::string NameOf(jint version) {
  return version == JNI_VERSION_1_4 ? "1.4" : "other version";
}
std::string& At(jobject reference) {
  return *reinterpret_cast<std::string*>(reference);
}

void EndAsAsked(const char* name) {
  if (const auto code = Asked(name)) {
    exitHook(*code);
    std::exit(*code);
  }
}

[[maybe_unused]] const bool loaded = [] {
  if (const auto milliseconds = Asked("load-sleeps")) {
    Log("loading");
    Pause(milliseconds);
  }
  return true;
}();

void JNICALL CallStaticVoidMethod(JNIEnv*, jclass type, jmethodID method, ...) {
  va_list arguments;
  va_start(arguments, method);
  const std::string given = At(va_arg(arguments, jobject));
  va_end(arguments);
  const bool known = method == reinterpret_cast<jmethodID>(&mainMethod);
  Log("call " + At(type) + (known ? ".main" : ".?") + given);
  if (Asked("prints") && (std::puts("fake main runs") < 0 || std::fflush(stdout) != 0))
    Log("standard output is closed");
  Pause(Asked("sleeps"));
  if (const auto code = Asked("hook")) exitHook(*code);
  EndAsAsked("exit");
  pending = Asked("exception").has_value();
}

JNINativeInterface_ Functions() {
  JNINativeInterface_ functions{};
  functions.FindClass = [](JNIEnv*, const char* name) {
    Log(std::string("FindClass ") + name);
    const bool lacks = Asked("no-class") && std::string(name) != "java/lang/String";
    return lacks ? nullptr : MakeObject<jclass>(name);
  };
  functions.GetStaticMethodID = [](JNIEnv*, jclass type, const char* name, const char* signature) {
    Log("GetStaticMethodID " + At(type) + " " + name + " " + signature);
    return Asked("no-main") ? nullptr : reinterpret_cast<jmethodID>(&mainMethod);
  };
  functions.NewObjectArray = [](JNIEnv*, jsize length, jclass type, jobject initial) {
    Log("NewObjectArray " + std::to_string(length) + " " + At(type) + (initial ? " initial" : ""));
    return Asked("no-array") ? nullptr : MakeObject<jobjectArray>("");
  };
  functions.NewStringUTF = [](JNIEnv*, const char* text) {
    Log(std::string("NewStringUTF ") + text);
    return MakeObject<jstring>(text);
  };
  functions.SetObjectArrayElement = [](JNIEnv*, jobjectArray array, jsize index, jobject value) {
    Log("SetObjectArrayElement " + std::to_string(index) + " " + At(value));
    At(array) += " [" + At(value) + "]";
  };
  functions.CallStaticVoidMethod = CallStaticVoidMethod;
  functions.ExceptionCheck = [](JNIEnv*) -> jboolean {
    Log("ExceptionCheck");
    return pending;
  };
  functions.ExceptionDescribe = [](JNIEnv*) { Log("ExceptionDescribe"); };
  functions.ExceptionClear = [](JNIEnv*) {
    Log("ExceptionClear");
    pending = false;
  };
  return functions;
}

}  // namespace

extern "C" JNIEXPORT jint JNICALL JNI_GetDefaultJavaVMInitArgs(void* args) {
  auto* defaults = static_cast<JavaVMInitArgs*>(args);
  Log("defaults " + NameOf(defaults->version));
  defaults->ignoreUnrecognized = JNI_TRUE;  // the caller must set it itself
  return Asked("defaults-fail") ? JNI_ERR : JNI_OK;
}

extern "C" JNIEXPORT jint JNICALL JNI_CreateJavaVM(JavaVM** machine, void** environment,
                                                   void* args) {
  const auto* request = static_cast<const JavaVMInitArgs*>(args);
  Log("create " + NameOf(request->version) + " " + std::to_string(request->nOptions) + " options" +
      (request->ignoreUnrecognized == JNI_FALSE ? "" : " ignoring unknown ones"));
  for (jint i = 0; i < request->nOptions; ++i) {
    const JavaVMOption& option = request->options[i];
    const std::string text = option.optionString;
    if (text == "exit") exitHook = reinterpret_cast<void (*)(jint)>(option.extraInfo);
    Log("option " + text + (option.extraInfo == nullptr ? "" : " with a hook"));
  }
  if (Asked("logs-exit")) std::atexit([] { Log("exit handlers"); });
  if (const auto result = Asked("create")) return *result;

  static const JNINativeInterface_ functions = Functions();
  static JNIInvokeInterface_ invocation{};
  invocation.DestroyJavaVM = [](JavaVM*) -> jint {
    Log(pending ? "DestroyJavaVM with a pending exception" : "DestroyJavaVM");
    EndAsAsked("late-exit");
    return JNI_OK;
  };
  static JNIEnv env{&functions};
  static JavaVM vm{&invocation};
  *environment = &env;
  *machine = &vm;
  return JNI_OK;
}
