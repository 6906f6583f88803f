#include "platform/SystemError.h"

namespace {

constexpr DWORD kUserDefaultLanguage = 0x400;

// Owns a text that the system allocated.
class SystemText {
 public:
  explicit SystemText(DWORD code) {
    // With the allocate-buffer flag the buffer argument is the address of the pointer to fill.
    FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, kUserDefaultLanguage, reinterpret_cast<char*>(&m_text), 0, nullptr);
  }
  SystemText(const SystemText&) = delete;
  SystemText& operator=(const SystemText&) = delete;
  ~SystemText() {
    if (m_text != nullptr) {
      LocalFree(m_text);
    }
  }

  const char* Get() const { return m_text; }

 private:
  char* m_text = nullptr;
};

}  // namespace

bool AppendSystemText(std::string& message, DWORD code, size_t limit) {
  const SystemText text(code);
  if (text.Get() == nullptr) {
    return false;
  }
  message.append(": ").append(text.Get());
  if (message.size() > limit) {
    message.resize(limit);
  }
  return true;
}
