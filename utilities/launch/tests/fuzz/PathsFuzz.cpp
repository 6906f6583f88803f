// The comparison of paths. Input: two paths, separated by a NUL.
#include "Check.h"
#include "java/WorkspaceSearch.h"
#include "platform/Files.h"
#include "platform/Text.h"

void Try(std::string_view input) {
  const std::string a(input.substr(0, input.find('\0')));
  const std::string b(input.substr(std::min(input.size(), a.size() + 1)));
  const int order = ComparePaths(a, b), back = ComparePaths(b, a);
  Check(order == -back || (order == 1 && back == 1));  // 1 and 1: one is the other's beginning
  Check(ComparePaths(a, a) == 0 && (order != 0 || a.size() == b.size()));
  Check(ComparePaths(ToLower(a), ReplaceChar(b, '\\', '/')) == order);
  const std::string below = StartPathBelow(a + '/', b + '/');
  Check((b + '/').find(below) != std::string::npos);
  Check(below.empty() || ComparePaths(a, b.substr(0, a.size())) == 0);
}
