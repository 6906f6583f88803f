#include "Support.h"

#include <fstream>

#include <windows.h>

namespace fs = std::filesystem;

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
