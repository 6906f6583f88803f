#include <dlfcn.h>
#include <jni.h>

#include <atomic>
#include <cstring>
#include <list>
#include <string>
#include <strings.h>
#include <vector>

#include "JavaRuntime.h"
#include "LastError.h"
#include "Paths.h"

namespace {

constexpr char kCreateJavaVM[] = "JNI_CreateJavaVM";
using CreateJavaVM = jint(JNICALL*)(JavaVM**, void**, void*);
std::atomic<CreateJavaVM> g_CreateJavaVM{nullptr};

// Stands before the runtime's own JNI_CreateJavaVM and hands on the options as that Java takes
// them. The changed texts live as long as the process, since the runtime may keep them.
jint JNICALL CreateAdaptedJavaVM(JavaVM** vm, void** environment, void* arguments) {
  const CreateJavaVM create = g_CreateJavaVM.load();
  auto adapted = *static_cast<const JavaVMInitArgs*>(arguments);
  const auto count = static_cast<std::size_t>(adapted.nOptions);
  Dl_info library{};
  ::dladdr(reinterpret_cast<void*>(create), &library);
  const int version = library.dli_fname != nullptr ? host::JavaVersionOf(library.dli_fname) : 0;

  static auto& kept = *new std::list<std::vector<std::string>>;
  std::vector<std::string>& texts = kept.emplace_back();
  std::vector<JavaVMOption> options;
  texts.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    texts.emplace_back(adapted.options[i].optionString);
    if (host::AdaptJavaOption(texts.back(), version)) {
      options.push_back({texts.back().data(), adapted.options[i].extraInfo});
    }
  }
  adapted.nOptions = static_cast<jint>(options.size());
  adapted.options = options.data();
  return create(vm, environment, &adapted);
}

// The loader says why only in words, and these in the C locale unless the program set another.
DWORD LoadError(const char* words) {
  if (words == nullptr || std::strstr(words, "cannot open shared object file") == nullptr) {
    return ERROR_BAD_EXE_FORMAT;
  }
  return std::strstr(words, "Permission denied") != nullptr ? ERROR_ACCESS_DENIED
                                                            : ERROR_MOD_NOT_FOUND;
}

}  // namespace

// Differs from Windows:
// - The bare name jvm.dll means libjvm.so, by the host loader's search. No extension is added to
//   other names.
// - A library that lacks one of its own is 126, as on Windows; any other fault of a file is 193.
HMODULE LoadLibraryA(LPCSTR fileName) {
  if (fileName == nullptr) {
    host::Fail(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const std::string path =
      ::strcasecmp(fileName, "jvm.dll") == 0 ? "libjvm.so" : host::HostPath(fileName);
  // An empty name would give the program itself.
  void* library = path.empty() ? nullptr : ::dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) {
    host::Fail(path.empty() ? ERROR_MOD_NOT_FOUND : LoadError(::dlerror()));
  }
  return static_cast<HMODULE>(library);
}

// Differs from Windows:
// - No ordinals, and no null module for the program itself.
// - The address of JNI_CreateJavaVM is that of a function here, which adapts the options.
FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
  if (module == nullptr || name == nullptr) {
    host::Fail(module == nullptr ? ERROR_INVALID_HANDLE : ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  void* address = ::dlsym(module, name);
  if (address == nullptr) {
    host::Fail(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  if (std::strcmp(name, kCreateJavaVM) == 0) {
    g_CreateJavaVM = reinterpret_cast<CreateJavaVM>(address);
    address = reinterpret_cast<void*>(&CreateAdaptedJavaVM);
  }
  return reinterpret_cast<FARPROC>(address);
}
