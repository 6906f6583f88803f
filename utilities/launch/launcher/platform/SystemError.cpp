#include "platform/SystemError.h"

#include "platform/Owner.h"

namespace {

constexpr DWORD kUserDefaultLanguage = 0x400;

void FreeText(char* text) {
  LocalFree(text);
}
using SystemText = Owner<char*, FreeText>;

// Null if the system has no text for the code.
SystemText AllocateText(DWORD code) {
  char* text = nullptr;
  // With ALLOCATE_BUFFER the argument is the address of the pointer to fill.
  FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, kUserDefaultLanguage, reinterpret_cast<char*>(&text), 0, nullptr);
  return SystemText(text);
}

}  // namespace

void AppendSystemText(std::string& message, DWORD code, size_t limit) {
  const SystemText text = AllocateText(code);
  if (!text) {
    return;
  }
  message.append(": ").append(text.Get());
  if (message.size() > limit) {
    message.resize(limit);
  }
}
