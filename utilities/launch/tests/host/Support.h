#pragma once

#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace fs = std::filesystem;

// Makes the folders above it too. Programs are written with owner_all.
inline void Write(const fs::path& path, const std::string& text,
                  fs::perms permissions = fs::perms::owner_read | fs::perms::owner_write) {
  fs::create_directories(fs::absolute(path).parent_path());
  std::ofstream(path) << text;
  fs::permissions(path, permissions);
}

inline std::string Read(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}
