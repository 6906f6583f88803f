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
CreateJavaVM g_CreateJavaVM = nullptr;

// Stands before the runtime's own JNI_CreateJavaVM. The adapted texts live as long as the process,
// since the runtime may keep them.
jint JNICALL CreateAdaptedJavaVM(JavaVM** vm, void** environment, void* arguments) {
  auto adapted = *static_cast<const JavaVMInitArgs*>(arguments);
  std::vector<JavaVMOption> options(adapted.options, adapted.options + adapted.nOptions);
  static auto& texts = *new std::vector<std::string>;
  texts.resize(options.size());
  for (std::size_t i = 0; i < options.size(); ++i) {
    texts[i] = options[i].optionString;
    host::AdaptJavaOption(texts[i]);
    options[i].optionString = texts[i].data();
  }
  adapted.options = options.data();
  return g_CreateJavaVM(vm, environment, &adapted);
}

}  // namespace

// Differs from Windows:
// - The bare name jvm.dll means libjvm.so, by the host loader's search. No extension is added to
//   other names.
// - A library that lacks one of its own is 126, as on Windows; any other fault of a file is 193.
HMODULE LoadLibraryA(LPCSTR fileName) {
  const std::string path =
      std::strcmp(fileName, "jvm.dll") == 0 ? "libjvm.so" : host::HostPath(fileName);
  // An empty name would give the program itself.
  void* library = path.empty() ? nullptr : ::dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
  if (library == nullptr) {
    // The loader says why only in words, in the C locale unless the program set another.
    const char* words = path.empty() ? nullptr : ::dlerror();
    const bool isFault = words != nullptr && std::strstr(words, "cannot open shared") == nullptr;
    SetLastError(isFault ? ERROR_BAD_EXE_FORMAT : ERROR_MOD_NOT_FOUND);
  }
  return static_cast<HMODULE>(library);
}

// Differs from Windows:
// - The address of JNI_CreateJavaVM is that of a function here, which adapts the class path.
FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
  void* address = ::dlsym(module, name);
  if (address == nullptr) {
    return host::Fail(ERROR_PROC_NOT_FOUND, FARPROC{});
  }
  if (std::strcmp(name, "JNI_CreateJavaVM") == 0) {
    g_CreateJavaVM = reinterpret_cast<CreateJavaVM>(address);
    address = reinterpret_cast<void*>(&CreateAdaptedJavaVM);
  }
  return reinterpret_cast<FARPROC>(address);
}

// Differs from Windows:
// - Every link is followed.
DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
  const link_map* map = nullptr;
  ::dlinfo(module, RTLD_DI_LINKMAP, &map);
  const std::string path = host::ResolvedPath(map->l_name);
  std::snprintf(buffer, size, "%s", path.c_str());
  return path.size() < size ? static_cast<DWORD>(path.size())
                            : host::Fail(ERROR_INSUFFICIENT_BUFFER, size);
}

// Differs from Windows:
// - No effect: a library of the host says itself where it looks for others.
BOOL SetDllDirectoryA(LPCSTR /*path*/) {
  return TRUE;
}

// Differs from Windows:
// - No effect: the host shows no dialogs. The old mode is not told.
BOOL SetThreadErrorMode(DWORD /*mode*/, LPDWORD /*oldMode*/) {
  return TRUE;
}
