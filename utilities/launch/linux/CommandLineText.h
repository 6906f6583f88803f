#pragma once
// Command lines in the form of Windows.

#include <string>
#include <string_view>
#include <vector>

namespace linux {

// Splits by the rules of the Microsoft C runtime. The first element is the program's name, empty
// for an empty line.
std::vector<std::string> SplitCommandLine(std::string_view line);

// In -Djava.class.path, replaces ";" by ":" and "\" by "/". Leaves other options unchanged.
void AdaptJavaOption(std::string& option);

}  // namespace linux
