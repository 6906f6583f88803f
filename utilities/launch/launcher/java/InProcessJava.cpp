#include "java/InProcessJava.h"

#include <windows.h>
#include <jni.h>

#include <optional>

#include "java/JavaOptions.h"
#include "java/JvmDiscovery.h"
#include "platform/Diagnostics.h"
#include "platform/Text.h"

namespace {

// Set by the JVM's exit hook, read after the JVM is destroyed.
jint JavaExitCode = 0;

void JNICALL JvmExitHook(jint code) {
  JavaExitCode = code == InvocationFailed ? -1 : code;
}

using CreateJavaVm = jint(JNICALL*)(JavaVM**, void**, void*);
using GetDefaultInitArgs = jint(JNICALL*)(void*);

// The JVM library and its entry points.
struct Runtime {
  std::string library;  // path
  CreateJavaVm create = nullptr;
  GetDefaultInitArgs getDefaults = nullptr;
};

template <typename Function>
Function FindEntryPoint(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(library, name)));
}

// Empty if the path has MAX_PATH characters or more.
std::string PathOf(HMODULE library) {
  char buffer[MAX_PATH];
  const DWORD length = GetModuleFileNameA(library, buffer, sizeof buffer);
  return length < sizeof buffer ? std::string(buffer, length) : "";
}

std::optional<Runtime> LoadRuntime() {
  const HMODULE library = LoadJvm();
  if (library == nullptr) {
    return std::nullopt;
  }
  Runtime runtime = {PathOf(library), FindEntryPoint<CreateJavaVm>(library, "JNI_CreateJavaVM"),
                     FindEntryPoint<GetDefaultInitArgs>(library, "JNI_GetDefaultJavaVMInitArgs")};
  if (runtime.create == nullptr || runtime.getDefaults == nullptr) {
    return std::nullopt;
  }
  return runtime;
}

// The result points into `options`.
std::vector<JavaVMOption> BuildVmOptions(const std::vector<std::string>& options) {
  std::vector<JavaVMOption> vmOptions;
  vmOptions.reserve(options.size() + 1);
  DebugPrint("JVM args:\n");
  for (const std::string& option : options) {
    DebugPrint("%d: %s\n", static_cast<int>(vmOptions.size()), option.c_str());
    vmOptions.push_back({const_cast<char*>(option.c_str()), nullptr});
  }
  vmOptions.push_back({const_cast<char*>("exit"), reinterpret_cast<void*>(JvmExitHook)});
  return vmOptions;
}

// Owns the process's JVM and the options passed to it.
class JavaMachine {
 public:
  JavaMachine(const Runtime& runtime, const std::vector<std::string>& options) {
    JavaVMInitArgs args = {};
    args.version = JNI_VERSION_1_4;
    runtime.getDefaults(&args);
    m_Options = BuildVmOptions(options);
    args.nOptions = static_cast<jint>(m_Options.size());
    args.options = m_Options.data();
    args.ignoreUnrecognized = JNI_FALSE;
    DebugPrint("Attempting to create VM...\n");
    const RuntimeLibraries libraries(runtime.library);
    libraries.LoadForLater();
    void* environment = nullptr;
    if (runtime.create(&m_Machine, &environment, &args) == JNI_OK) {
      m_Environment = static_cast<JNIEnv*>(environment);
      DebugPrint("Created VM\n");
    }
  }
  JavaMachine(const JavaMachine&) = delete;
  JavaMachine& operator=(const JavaMachine&) = delete;
  ~JavaMachine() {
    if (m_Environment != nullptr) {
      m_Machine->DestroyJavaVM();
    }
  }

  // Null if the JVM could not be created.
  JNIEnv* GetEnvironment() const { return m_Environment; }

 private:
  std::vector<JavaVMOption> m_Options;
  JavaVM* m_Machine = nullptr;
  JNIEnv* m_Environment = nullptr;
};

struct MainMethod {
  jclass javaClass = nullptr;
  jmethodID id = nullptr;
};

std::optional<MainMethod> FindMain(JNIEnv* env, const std::string& className) {
  MainMethod main;
  main.javaClass = env->FindClass(ReplaceChar(className, '.', '/').c_str());
  if (main.javaClass == nullptr) {
    DebugPrint("JVMDLL: Failed to find the class %s\n", className.c_str());
    return std::nullopt;
  }
  DebugText("Found " + className + "\n");
  main.id = env->GetStaticMethodID(main.javaClass, "main", "([Ljava/lang/String;)V");
  if (main.id == nullptr) {
    DebugPrint("JVMDLL: Failed to find main()\n");
    return std::nullopt;
  }
  DebugPrint("Found main()\n");
  return main;
}

// Null on failure.
jobjectArray CreateArguments(JNIEnv* env, const std::vector<std::string>& arguments) {
  const jclass stringClass = env->FindClass("java/lang/String");
  const jobjectArray array =
      env->NewObjectArray(static_cast<jsize>(arguments.size()), stringClass, nullptr);
  if (array == nullptr) {
    DebugPrint("JVMDLL: Failed to find create arguments\n");
    return nullptr;
  }
  for (size_t i = 0; i < arguments.size(); ++i) {
    const jstring text = env->NewStringUTF(arguments[i].c_str());
    env->SetObjectArrayElement(array, static_cast<jsize>(i), text);
  }
  return array;
}

void CallMain(JNIEnv* env, const MainMethod& main, jobjectArray arguments) {
  DebugPrint("Calling main...\n");
  // Through the function table: the C++ wrapper of jni.h calls another entry,
  // CallStaticVoidMethodV.
  env->functions->CallStaticVoidMethod(env, main.javaClass, main.id, arguments);
  if (env->ExceptionCheck()) {
    env->ExceptionDescribe();
    env->ExceptionClear();
  }
  DebugPrint("Cleaning up VM...\n");
}

}  // namespace

int InvokeJavaInProcess(const std::string& className, const std::vector<std::string>& jvmOptions,
                        const std::vector<std::string>& arguments) {
  DebugPrint("Locating JVM DLL and creating VM...\n");
  const std::optional<Runtime> runtime = LoadRuntime();
  if (!runtime) {
    return InvocationFailed;
  }
  const std::vector<std::string> options =
      EffectiveOptions(jvmOptions, JavaVersionOf(runtime->library));
  {  // JavaExitCode is complete when the JVM is destroyed.
    const JavaMachine machine(*runtime, options);
    JNIEnv* env = machine.GetEnvironment();
    if (env == nullptr) {
      return InvocationFailed;
    }
    const std::optional<MainMethod> main = FindMain(env, className);
    if (!main) {
      return InvocationFailed;
    }
    const jobjectArray array = CreateArguments(env, arguments);
    if (array == nullptr) {
      return InvocationFailed;
    }
    CallMain(env, *main, array);
  }
  return JavaExitCode;
}
