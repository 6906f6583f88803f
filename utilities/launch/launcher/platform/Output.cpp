#include "platform/Output.h"

#include <cerrno>

#include <algorithm>
#include <atomic>

#include <io.h>
#include <windows.h>

#include "platform/SystemError.h"

namespace {

constexpr size_t kMaxFailureText = 1023;
std::atomic<bool> g_isFailureTold{false};

// False when the stream takes no more; the last error then says why.
bool WriteAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const size_t size = std::min<size_t>(text.size(), 1U << 30);
    const int written = _write(descriptor, text.data(), static_cast<unsigned>(size));
    if (written <= 0) {
      return false;
    }
    text.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

// A reader that has gone, or a stream that never existed, is no failure to report. Windows needs
// both error values: a closed pipe (232) sets errno to EINVAL, and a write to a stream that does
// not exist leaves the last error as it was.
bool IsNobodyThere(DWORD code) {
  return errno == EBADF || code == ERROR_BROKEN_PIPE || code == ERROR_NO_DATA;
}

void TellFailure(DWORD code) {
  std::string message = "Torvel: standard output cannot be written";
  AppendSystemText(message, code, kMaxFailureText);
  message.resize(message.find_last_not_of("\r\n") + 1);
  message += '\n';
  WriteAll(_fileno(stderr), message);
}

}  // namespace

void Write(FILE* stream, std::string_view text) {
  if (WriteAll(_fileno(stream), text)) {
    return;
  }
  const DWORD code = GetLastError();
  if (!IsNobodyThere(code) && stream == stdout && !g_isFailureTold.exchange(true)) {
    TellFailure(code);
  }
}

void Print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  PrintArguments(format, arguments);
  va_end(arguments);
}

void PrintArguments(const char* format, va_list arguments) {
  va_list measured;
  va_copy(measured, arguments);
  const int length = vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (length <= 0) {
    return;
  }
  std::string text(static_cast<size_t>(length) + 1, '\0');
  vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  Write(stdout, text);
}
