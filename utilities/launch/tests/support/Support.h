#pragma once
// Helpers of the unit, Win32 and layer tests.

#include <winsock2.h>
#include <windows.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "Platform.h"

namespace fs = std::filesystem;

// The folder of the fakes, found from the program's own.
inline const std::string kFakes =
    OwnPath().substr(0, OwnPath().find_last_of("/\\")) + "/../../../../fakes/";

// A test with a temporary directory as its current one.
class InScratch : public testing::Test {
 protected:
  InScratch() {
    fs::create_directories(m_Path);
    fs::current_path(m_Path);
  }
  ~InScratch() override {
    // A loaded library stays on Windows; a destructor must not throw.
    std::error_code ignored;
    fs::current_path("/", ignored);
    fs::remove_all(m_Path, ignored);
  }

 private:
  const fs::path m_Path =
      fs::temp_directory_path() / ("torvel-tests-" + std::to_string(GetCurrentProcessId()));
};

// Creates the folders above it too. A program needs owner_all.
inline void WriteText(const fs::path& path, const std::string& text,
                      fs::perms permissions = fs::perms::owner_read | fs::perms::owner_write) {
  fs::create_directories(fs::absolute(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
  fs::permissions(path, permissions);
}

inline std::string ReadText(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// For this process and the ones that it starts.
inline void SetVariable(const std::string& name, const std::string& value) {
  static auto& kept = *new std::deque<std::string>;  // the environment may point to them
  putenv(kept.emplace_back(name + "=" + value).data());
}

// A call failed with this last error.
inline testing::AssertionResult Fails(bool isOk, DWORD error) {
  const DWORD last = GetLastError();
  return isOk ? testing::AssertionFailure() << "succeeded"
         : last != error
             ? testing::AssertionFailure() << "last error " << last << ", expected " << error
             : testing::AssertionSuccess();
}

inline BOOL Start(const std::string& program, std::string line, PROCESS_INFORMATION& child) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  return CreateProcessA(program.c_str(), line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &child);
}

// Runs a program and returns its exit code.
inline DWORD RunProgram(const std::string& program, const std::string& line) {
  PROCESS_INFORMATION child = {};
  DWORD code = 0;
  EXPECT_TRUE(Start(program, line, child)) << GetLastError();
  EXPECT_EQ(WaitForSingleObject(child.hProcess, INFINITE), DWORD{WAIT_OBJECT_0});
  EXPECT_TRUE(GetExitCodeProcess(child.hProcess, &code));
  EXPECT_TRUE(CloseHandle(child.hProcess) && CloseHandle(child.hThread));
  return code;
}
