// What several of the unit tests share.
#pragma once

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "platform/Diagnostics.h"
#include "platform/LaunchFailure.h"

using std::string;
using Texts = std::vector<string>;

// The rows of a table, by the types of its columns.
template <typename... Columns>
using Rows = std::vector<std::tuple<Columns...>>;

// A fresh folder, the current directory while the object lives, removed with all it holds.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

 private:
  std::filesystem::path m_Before, m_Path;
};

// Makes the folders above it too.
void WriteFile(const std::filesystem::path& path, const string& text);
string ReadFile(const std::filesystem::path& path);

// What an action prints on standard output while the debug flag is on; it stays on afterwards.
template <typename Action>
string Printed(Action action) {
  EnableDebug();
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

// The message of the launch failure that an action throws.
template <typename Action>
string Failure(Action action) {
  try {
    action();
  } catch (const LaunchFailure& failure) {
    return failure.what();
  }
  return "(nothing was thrown)";
}
