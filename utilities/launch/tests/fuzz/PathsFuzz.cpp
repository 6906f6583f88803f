// The comparison of paths. Input: two paths, separated by a NUL.
#include "Check.h"
#include "java/WorkspaceSearch.h"
#include "platform/Files.h"
#include "platform/Text.h"

static std::string Folded(const std::string& path) {
  return ToLower(ReplaceChar(path, '\\', '/'));
}

void Try(std::string_view input) {
  const std::string a(input.substr(0, input.find('\0')));
  const std::string b(input.substr(std::min(input.size(), a.size() + 1)));
  const std::string foldedA = Folded(a), foldedB = Folded(b);
  const size_t common = std::min(a.size(), b.size());
  const bool isPart = foldedA.compare(0, common, foldedB, 0, common) == 0;
  const int order = isPart ? a.size() != b.size() : foldedA < foldedB ? -1 : 1;
  Check(ComparePaths(a, b) == order && ComparePaths(b, a) == (isPart ? order : -order));
  const std::string below = StartPathBelow(a, b);
  Check(below.size() <= b.size() && b.substr(b.size() - below.size()) == below);
  Check(below.empty() || foldedB.compare(0, a.size(), foldedA) == 0);
}
