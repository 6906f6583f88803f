#pragma once
// One command line text into arguments.

#include <string>
#include <string_view>
#include <vector>

namespace host {

// By the rules of the Microsoft C runtime, with which the program on the other side reads its
// command line on Windows. The first element is the program's name; an empty line has it empty.
std::vector<std::string> SplitCommandLine(std::string_view line);

}  // namespace host
