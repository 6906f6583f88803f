#include "platform/Output.h"

#include <windows.h>
#include <io.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "platform/SystemError.h"

namespace {

constexpr size_t kMaxFailureText = 1023;
std::atomic<bool> g_isFailureReported{false};

// False on failure, with the last error set.
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

// Ignore closed pipes and streams that were never open. Windows needs both error values: a closed
// pipe (232) sets errno to EINVAL, and a write to a missing stream leaves the last error unchanged.
bool IsStreamClosed(DWORD code) {
  return errno == EBADF || code == ERROR_BROKEN_PIPE || code == ERROR_NO_DATA;
}

void ReportFailure(DWORD code) {
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
  if (!IsStreamClosed(code) && stream == stdout && !g_isFailureReported.exchange(true)) {
    ReportFailure(code);
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
