#include <dlfcn.h>
#include <jni.h>
#include <link.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "CommandLineText.h"
#include "LastError.h"
#include "Paths.h"

namespace {

using CreateJavaVM = jint(JNICALL*)(JavaVM**, void**, void*);
CreateJavaVM g_createJavaVM = nullptr;

// Wraps the runtime's JNI_CreateJavaVM. The adapted options are never freed: the runtime may keep
// pointers to them.
jint JNICALL CreateAdaptedJavaVM(JavaVM** vm, void** environment, void* arguments) {
  auto adapted = *static_cast<const JavaVMInitArgs*>(arguments);
  std::vector<JavaVMOption> options(adapted.options, adapted.options + adapted.nOptions);
  static auto& texts = *new std::vector<std::string>;
  texts.resize(options.size());
  for (std::size_t i = 0; i < options.size(); ++i) {
    texts[i] = options[i].optionString;
    linux::AdaptJavaOption(texts[i]);
    options[i].optionString = texts[i].data();
  }
  adapted.options = options.data();
  return g_createJavaVM(vm, environment, &adapted);
}

}  // namespace

// Differs from Windows:
// - The bare name jvm.dll loads libjvm.so by the loader's library search. No extension is added to
//   other names.
// - A missing file or dependency is 126, as on Windows; any other failure is 193.
HMODULE LoadLibraryA(LPCSTR fileName) {
  const std::string path =
      std::strcmp(fileName, "jvm.dll") == 0 ? "libjvm.so" : linux::LinuxPath(fileName);
  // dlopen("") would return the program itself.
  void* library = path.empty() ? nullptr : ::dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) {
    // dlerror returns only a text, in English unless the program calls setlocale.
    const char* reason = path.empty() ? nullptr : ::dlerror();
    const bool isFault = reason != nullptr && std::strstr(reason, "cannot open shared") == nullptr;
    SetLastError(isFault ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
  }
  return static_cast<HMODULE>(library);
}

// Differs from Windows:
// - For JNI_CreateJavaVM, returns a wrapper that adapts the class path.
FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
  void* address = ::dlsym(module, name);
  if (address == nullptr) {
    return linux::Fail(ERROR_PROC_NOT_FOUND, FARPROC{});
  }
  if (std::strcmp(name, "JNI_CreateJavaVM") == 0) {
    g_createJavaVM = reinterpret_cast<CreateJavaVM>(address);
    address = reinterpret_cast<void*>(&CreateAdaptedJavaVM);
  }
  return reinterpret_cast<FARPROC>(address);
}

// Differs from Windows:
// - Symbolic links are resolved.
DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
  const link_map* map = nullptr;
  ::dlinfo(module, RTLD_DI_LINKMAP, static_cast<void*>(&map));
  const std::string path = linux::ResolvedPath(map->l_name);
  std::snprintf(buffer, size, "%s", path.c_str());
  return path.size() < size ? static_cast<DWORD>(path.size())
                            : linux::Fail(ERROR_INSUFFICIENT_BUFFER, size);
}

// Differs from Windows:
// - No effect: a library of Linux contains its own search path.
BOOL SetDllDirectoryA(LPCSTR /*path*/) {
  return TRUE;
}

// Differs from Windows:
// - No effect: Linux shows no dialogs. The old mode is not returned.
BOOL SetThreadErrorMode(DWORD /*mode*/, LPDWORD /*oldMode*/) {
  return TRUE;
}
