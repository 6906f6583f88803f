#pragma once
// Command lines made for Windows.

#include <string>
#include <string_view>
#include <vector>

namespace host {

// By the rules of the Microsoft C runtime, with which the program on the other side reads its
// command line on Windows. The first element is the program's name; an empty line has it empty.
std::vector<std::string> SplitCommandLine(std::string_view line);

// Turns the separators of Java's class path and of the paths in it. Leaves other options alone.
void AdaptJavaOption(std::string& option);

}  // namespace host
