#include "platform/Files.h"

#include <windows.h>
#include <direct.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "platform/Diagnostics.h"
#include "platform/LaunchFailure.h"
#include "platform/Output.h"
#include "platform/SystemError.h"
#include "platform/Text.h"
#include "platform/Thread.h"

namespace {

constexpr size_t kMaxFileText = 65536;
constexpr int kInstallAttempts = 5;
constexpr unsigned kRetryPauseMilliseconds = 100;
constexpr size_t kMaxCopyFailureText = 4095;

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

std::string ReadFileText(const std::string& path) {
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) {
    return "";
  }
  std::string text(kMaxFileText, '\0');
  text.resize(fread(text.data(), 1, text.size(), file));
  fclose(file);
  return text;
}

std::string GetCurrentDir() {
  char buffer[MAX_PATH];
  return _getcwd(buffer, sizeof buffer) != nullptr ? buffer : "";
}

std::string FullPath(const std::string& path) {
  char buffer[MAX_PATH];
  return _fullpath(buffer, path.c_str(), sizeof buffer) != nullptr ? buffer : path;
}

void ChangeDir(const std::string& path) {
  // Ignore a failure: the callers check what they find next.
  static_cast<void>(_chdir(path.c_str()));
}

std::string GetEnv(const std::string& name) {
  const char* value = getenv(name.c_str());
  return value != nullptr ? value : "";
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
    Print("Sharing violation, retrying...\n");
    SleepMilliseconds(kRetryPauseMilliseconds);
  }
}

void InstallFile(const std::string& source, const std::string& target) {
  const std::string path = ToBackslashes(target);
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesA(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  }
  CopyFileWithRetry(source, target, kInstallAttempts);
}

void InstallFileInto(const std::string& source, const std::string& directory) {
  const bool endsInSlash = !directory.empty() && directory.back() == '/';
  const std::string name = source.substr(source.rfind('/') + 1);
  InstallFile(source, directory + (endsInSlash ? "" : "/") + name);
}
