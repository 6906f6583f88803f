// A Java runtime's library that runs no Java: it records each call, in order, into the file
// FAKE_JVM_LOG and behaves as FAKE_JVM says: create-fails, no-class, no-main, no-array, exception,
// exit=N (the hook is called with N inside main), prints (one line to standard output, past any
// buffer of the caller), sleeps=MS.
#include <jni.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <deque>
#include <thread>
#include <vector>

#include "Fake.h"

namespace {

// One Java object: a class or a string by its text, an array by its elements.
struct Object {
  std::string text;
  std::vector<const Object*> elements;
};

// References stay valid while it grows, and past the end of the process: main may still run then.
std::deque<Object>& objects = *new std::deque<Object>;
void (*exitHook)(jint) = nullptr;
bool pending = false;
int mainMethod = 0;  // its address is the method's id

void Log(const std::string& line) {
  Record("FAKE_JVM_LOG", line);
}
std::optional<std::string> Asked(const char* name) {
  return Scenario("FAKE_JVM", name);
}

template <class Reference>
Reference MakeObject(const std::string& text, std::size_t elements = 0) {
  objects.push_back({text, std::vector<const Object*>(elements)});
  return reinterpret_cast<Reference>(&objects.back());
}
const Object& At(jobject reference) {
  return *reinterpret_cast<const Object*>(reference);
}

jclass JNICALL FindClass(JNIEnv*, const char* name) {
  Log(std::string("FindClass ") + name);
  if (Asked("no-class") && std::string(name) != "java/lang/String") return nullptr;
  return MakeObject<jclass>(name);
}

jmethodID JNICALL GetStaticMethodID(JNIEnv*, jclass type, const char* name, const char* signature) {
  Log("GetStaticMethodID " + At(type).text + " " + name + " " + signature);
  return Asked("no-main") ? nullptr : reinterpret_cast<jmethodID>(&mainMethod);
}

jobjectArray JNICALL NewObjectArray(JNIEnv*, jsize length, jclass type, jobject initial) {
  Log("NewObjectArray " + std::to_string(length) + " " + At(type).text +
      (initial == nullptr ? "" : " initial"));
  if (Asked("no-array")) return nullptr;
  return MakeObject<jobjectArray>("array", static_cast<std::size_t>(length));
}

jstring JNICALL NewStringUTF(JNIEnv*, const char* text) {
  Log(std::string("NewStringUTF ") + text);
  return MakeObject<jstring>(text);
}

void JNICALL SetObjectArrayElement(JNIEnv*, jobjectArray array, jsize index, jobject value) {
  Log("SetObjectArrayElement " + std::to_string(index) + " " + At(value).text);
  reinterpret_cast<Object*>(array)->elements.at(static_cast<std::size_t>(index)) = &At(value);
}

void JNICALL CallStaticVoidMethodV(JNIEnv*, jclass type, jmethodID method, va_list arguments) {
  std::string line = "call " + At(type).text +
                     (method == reinterpret_cast<jmethodID>(&mainMethod) ? ".main" : ".?");
  for (const Object* element : At(va_arg(arguments, jobject)).elements)
    line += " [" + (element == nullptr ? "null" : element->text) + "]";
  Log(line);
  const std::string greeting = "fake main runs\n";
  if (Asked("prints") && write(1, greeting.data(), static_cast<unsigned>(greeting.size())) < 0)
    Log("standard output is closed");
  if (const auto milliseconds = Asked("sleeps"))
    std::this_thread::sleep_for(std::chrono::milliseconds(std::stol(*milliseconds)));
  if (const auto code = Asked("exit")) exitHook(static_cast<jint>(std::stol(*code)));
  pending = Asked("exception").has_value();
}

void JNICALL CallStaticVoidMethod(JNIEnv* env, jclass type, jmethodID method, ...) {
  va_list arguments;
  va_start(arguments, method);
  CallStaticVoidMethodV(env, type, method, arguments);
  va_end(arguments);
}

jboolean JNICALL ExceptionCheck(JNIEnv*) {
  Log("ExceptionCheck");
  return pending ? JNI_TRUE : JNI_FALSE;
}

void JNICALL ExceptionDescribe(JNIEnv*) {
  Log("ExceptionDescribe");
}

void JNICALL ExceptionClear(JNIEnv*) {
  Log("ExceptionClear");
  pending = false;
}

jint JNICALL DestroyJavaVM(JavaVM*) {
  Log(pending ? "DestroyJavaVM with a pending exception" : "DestroyJavaVM");
  return JNI_OK;
}

}  // namespace

extern "C" JNIEXPORT jint JNICALL JNI_CreateJavaVM(JavaVM** machine, void** environment,
                                                   void* args) {
  const auto* request = static_cast<const JavaVMInitArgs*>(args);
  char line[64];
  std::snprintf(line, sizeof line, "create %08x %d options%s",
                static_cast<unsigned>(request->version), static_cast<int>(request->nOptions),
                request->ignoreUnrecognized == JNI_FALSE ? "" : " ignoring unknown ones");
  Log(line);
  for (jint i = 0; i < request->nOptions; ++i) {
    const JavaVMOption& option = request->options[i];
    const std::string text = option.optionString;
    if (text == "exit") exitHook = reinterpret_cast<void (*)(jint)>(option.extraInfo);
    Log("option " + text + (option.extraInfo == nullptr ? "" : " with a hook"));
  }
  if (Asked("create-fails")) return JNI_ERR;

  static JNINativeInterface_ functions{};
  functions.FindClass = FindClass;
  functions.GetStaticMethodID = GetStaticMethodID;
  functions.NewObjectArray = NewObjectArray;
  functions.NewStringUTF = NewStringUTF;
  functions.SetObjectArrayElement = SetObjectArrayElement;
  functions.CallStaticVoidMethod = CallStaticVoidMethod;
  functions.CallStaticVoidMethodV = CallStaticVoidMethodV;
  functions.ExceptionCheck = ExceptionCheck;
  functions.ExceptionDescribe = ExceptionDescribe;
  functions.ExceptionClear = ExceptionClear;
  static JNIInvokeInterface_ invocation{};
  invocation.DestroyJavaVM = DestroyJavaVM;
  static JNIEnv env{&functions};
  static JavaVM vm{&invocation};
  *environment = &env;
  *machine = &vm;
  return JNI_OK;
}
