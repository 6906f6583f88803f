#include "platform/Text.h"

#include <algorithm>
#include <cctype>

namespace {

char Lower(char character) {
  return static_cast<char>(tolower(static_cast<unsigned char>(character)));
}

unsigned char FoldPathCharacter(char character) {
  return static_cast<unsigned char>(character == '\\' ? '/' : Lower(character));
}

}  // namespace

std::string ToLower(const std::string& text) {
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(), Lower);
  return lower;
}

std::string ReplaceChar(const std::string& text, char from, char to) {
  std::string replaced = text;
  std::replace(replaced.begin(), replaced.end(), from, to);
  return replaced;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  size_t start = 0;
  for (size_t end = text.find(separator); end != std::string::npos;
       end = text.find(separator, start)) {
    pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  pieces.push_back(text.substr(start));
  return pieces;
}

bool IsSeparator(char character) {
  return character == '/' || character == '\\';
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

std::string ToBackslashes(const std::string& path) {
  return ReplaceChar(path, '/', '\\');
}

std::string DirectoryOf(const std::string& path) {
  const size_t separator = path.find_last_of("/\\");
  return separator == std::string::npos ? "" : path.substr(0, separator);
}
