#include "platform/FileUtilities.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>

#include <direct.h>
#include <windows.h>

#include "platform/Diagnostics.h"
#include "platform/LaunchFailure.h"
#include "platform/SystemError.h"
#include "platform/Thread.h"

namespace {

constexpr int kInstallAttempts = 5;
constexpr unsigned kRetryPauseMilliseconds = 100;
constexpr size_t kMaxCopyFailureText = 4095;

unsigned char FoldPathCharacter(char character) {
  const unsigned char byte = static_cast<unsigned char>(character);
  return byte == '\\' ? '/' : static_cast<unsigned char>(tolower(byte));
}

[[noreturn]] void FailCopy(DWORD code, const std::string& source, const std::string& destination) {
  std::string message = "CopyFile returned error code " + std::to_string(code) + " when copying " +
                        source + " to " + destination;
  message.resize(std::min(message.size(), kMaxCopyFailureText));
  AppendSystemText(message, code, kMaxCopyFailureText);
  throw LaunchFailure(message);
}

}  // namespace

bool FileExists(const std::string& path) {
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) {
    return false;
  }
  fclose(file);
  return true;
}

std::string GetCurrentDir() {
  char buffer[MAX_PATH];
  return _getcwd(buffer, sizeof buffer) != nullptr ? buffer : "";
}

void ChangeDir(const std::string& path) {
  // A directory that cannot be entered shows in what is found next, so the outcome is not looked at
  // here.
  static_cast<void>(_chdir(path.c_str()));
}

std::string GetEnv(const std::string& name) {
  const char* value = getenv(name.c_str());
  return value != nullptr ? value : "";
}

std::string ToLower(const std::string& text) {
  std::string lower = text;
  for (char& character : lower) {
    character = static_cast<char>(tolower(static_cast<unsigned char>(character)));
  }
  return lower;
}

int ComparePaths(const std::string& a, const std::string& b) {
  for (size_t i = 0; i < a.size(); ++i) {
    if (i == b.size()) {
      return 1;
    }
    const unsigned char left = FoldPathCharacter(a[i]);
    const unsigned char right = FoldPathCharacter(b[i]);
    if (left != right) {
      return left < right ? -1 : 1;
    }
  }
  return a.size() == b.size() ? 0 : 1;
}

std::string ReplaceChar(const std::string& text, char from, char to) {
  std::string replaced = text;
  std::replace(replaced.begin(), replaced.end(), from, to);
  return replaced;
}

std::string ToBackslashes(const std::string& path) {
  return ReplaceChar(path, '/', '\\');
}

void CopyFileWithRetry(const std::string& source, const std::string& destination, int attempts) {
  DebugPrint("Copying %s to %s...\n", source.c_str(), destination.c_str());
  const std::string from = ToBackslashes(source);
  const std::string to = ToBackslashes(destination);
  while (!CopyFileA(from.c_str(), to.c_str(), FALSE)) {
    const DWORD code = GetLastError();
    if (code != ERROR_SHARING_VIOLATION || --attempts <= 0) {
      FailCopy(code, from, to);
    }
    printf("Sharing violation, retrying...\n");
    SleepMilliseconds(kRetryPauseMilliseconds);
  }
}

void InstallFile(const std::string& source, const std::string& destination, bool isDirectory) {
  std::string target = destination;
  if (isDirectory) {
    if (target.empty() || target.back() != '/') {
      target += '/';
    }
    target += source.substr(source.rfind('/') + 1);
  }
  const std::string path = ToBackslashes(target);
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesA(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  }
  CopyFileWithRetry(source, target, kInstallAttempts);
}
