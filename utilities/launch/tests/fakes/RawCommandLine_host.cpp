#include <fstream>
#include <string>

// The host hands over no line, only its words: they are shown joined by blanks.
std::string RawCommandLine() {
  std::ifstream words("/proc/self/cmdline");
  std::string line;
  for (std::string word; std::getline(words, word, '\0');) line += (line.empty() ? "" : " ") + word;
  return line;
}
