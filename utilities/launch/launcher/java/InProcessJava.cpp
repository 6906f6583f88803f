#include "java/InProcessJava.h"

#include <jni.h>
#include <windows.h>

#include "java/JvmDiscovery.h"
#include "platform/Diagnostics.h"
#include "platform/FileUtilities.h"

namespace {

// Written by the runtime's exit hook, read once the virtual machine is destroyed.
jint JavaExitCode = 0;

void JNICALL JvmExitHook(jint code) {
  JavaExitCode = code == InvocationFailed ? -1 : code;
}

using CreateJavaVm = jint(JNICALL*)(JavaVM**, void**, void*);
using GetDefaultInitArgs = jint(JNICALL*)(void*);

struct EntryPoints {
  CreateJavaVm create = nullptr;
  GetDefaultInitArgs getDefaults = nullptr;
};

template <typename Function>
Function FindEntryPoint(HMODULE library, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

bool LoadEntryPoints(EntryPoints& entryPoints) {
  const HMODULE library = LoadJvm();
  if (library == nullptr) {
    return false;
  }
  entryPoints.create = FindEntryPoint<CreateJavaVm>(library, "JNI_CreateJavaVM");
  entryPoints.getDefaults =
      FindEntryPoint<GetDefaultInitArgs>(library, "JNI_GetDefaultJavaVMInitArgs");
  return entryPoints.create != nullptr && entryPoints.getDefaults != nullptr;
}

// Refers to the texts of `options`.
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

// Owns the virtual machine of this process and the options it was created with.
class JavaMachine {
 public:
  JavaMachine(const EntryPoints& entryPoints, const std::vector<std::string>& options) {
    JavaVMInitArgs args = {};
    args.version = JNI_VERSION_1_4;
    entryPoints.getDefaults(&args);
    m_Options = BuildVmOptions(options);
    args.nOptions = static_cast<jint>(m_Options.size());
    args.options = m_Options.data();
    args.ignoreUnrecognized = JNI_FALSE;
    DebugPrint("Attempting to create VM...\n");
    void* environment = nullptr;
    if (entryPoints.create(&m_Machine, &environment, &args) == JNI_OK) {
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

  // Null when the machine could not be created.
  JNIEnv* GetEnvironment() const { return m_Environment; }

 private:
  std::vector<JavaVMOption> m_Options;
  JavaVM* m_Machine = nullptr;
  JNIEnv* m_Environment = nullptr;
};

struct MainMethod {
  jclass owner = nullptr;
  jmethodID id = nullptr;
};

bool FindMain(JNIEnv* env, const std::string& className, MainMethod& main) {
  main.owner = env->FindClass(ReplaceChar(className, '.', '/').c_str());
  if (main.owner == nullptr) {
    DebugPrint("JVMDLL: Failed to find the class %s\n", className.c_str());
    return false;
  }
  DebugText("Found " + className + "\n");
  main.id = env->GetStaticMethodID(main.owner, "main", "([Ljava/lang/String;)V");
  if (main.id == nullptr) {
    DebugPrint("JVMDLL: Failed to find main()\n");
    return false;
  }
  DebugPrint("Found main()\n");
  return true;
}

// Null when the array cannot be made.
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
  DebugFlush();
  // By the table: the C++ wrapper of the same name goes through another of its functions.
  env->functions->CallStaticVoidMethod(env, main.owner, main.id, arguments);
  if (env->ExceptionCheck()) {
    env->ExceptionDescribe();
    env->ExceptionClear();
  }
  DebugPrint("Cleaning up VM...\n");
}

}  // namespace

int InvokeJavaInProcess(const std::string& className, const std::vector<std::string>& options,
                        const std::vector<std::string>& arguments) {
  DebugPrint("Locating JVM DLL and creating VM...\n");
  EntryPoints entryPoints;
  if (!LoadEntryPoints(entryPoints)) {
    return InvocationFailed;
  }
  {
    const JavaMachine machine(entryPoints, options);
    JNIEnv* env = machine.GetEnvironment();
    MainMethod main;
    if (env == nullptr || !FindMain(env, className, main)) {
      return InvocationFailed;
    }
    const jobjectArray array = CreateArguments(env, arguments);
    if (array == nullptr) {
      return InvocationFailed;
    }
    CallMain(env, main, array);
  }
  return JavaExitCode;
}
