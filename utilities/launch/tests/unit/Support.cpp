#include "Support.h"

#include <stdlib.h>

#include <fstream>

#include <windows.h>

#include "platform/SwitcherListener.h"

namespace fs = std::filesystem;

fs::path g_program;

ScratchDirectory::ScratchDirectory() : m_Before(fs::current_path()) {
  m_Path = fs::temp_directory_path() / ("torvel-unit-" + std::to_string(GetCurrentProcessId()));
  fs::create_directories(m_Path);
  fs::current_path(m_Path);
}

ScratchDirectory::~ScratchDirectory() {
  fs::current_path(m_Before);
  fs::remove_all(m_Path);
}

void WriteFile(const fs::path& path, const string& text) {
  fs::create_directories(fs::absolute(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

int main(int argc, char** argv) {
  if (argc == 4 && string(argv[1]) == "child") {
    const DWORD parent = FindParentProcessId(GetCurrentProcessId());
    return parent == strtoul(argv[2], nullptr, 10) ? atoi(argv[3]) : 1;
  }
  g_program = fs::absolute(argv[0]).lexically_normal();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
