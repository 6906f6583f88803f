// The comparison of paths. Input: two paths, separated by a NUL.
#include <algorithm>

#include "Check.h"
#include "java/WorkspaceSearch.h"
#include "platform/FileUtilities.h"

static std::string Folded(std::string path) {
  std::transform(path.begin(), path.end(), path.begin(), [](char each) {
    return each == '\\' ? '/' : each >= 'A' && each <= 'Z' ? static_cast<char>(each + 32) : each;
  });
  return path;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::string a = input.substr(0, input.find('\0'));
  const std::string b = input.substr(std::min(size, a.size() + 1));
  const std::string foldedA = Folded(a), foldedB = Folded(b);
  const int forth = ComparePaths(a, b), back = ComparePaths(b, a);
  const size_t common = std::min(a.size(), b.size());
  if (foldedA == foldedB) {
    Check(forth == 0 && back == 0);
  } else if (foldedA.compare(0, common, foldedB, 0, common) == 0) {
    Check(forth == 1 && back == 1);
  } else {
    Check(forth == (foldedA < foldedB ? -1 : 1) && back == -forth);
  }
  const std::string below = StartPathBelow(a, b);
  Check(below.size() <= b.size() && b.substr(b.size() - below.size()) == below);
  Check(below.empty() || foldedB.compare(0, a.size(), foldedA) == 0);
  return 0;
}
