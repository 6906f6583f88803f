#pragma once
// Where programs are found.

#include <string>

namespace host {

// The absolute path of the program in the launcher's own directory, the current directory or a
// directory of PATH, in each with the extension before the name as given; empty when there is none.
// Only an executable regular file counts. A name that begins with a separator is looked at as is.
std::string FindProgram(const std::string& hostName, const std::string& extension);

// The same in the directories of PATH only.
std::string FindProgramOnPath(const std::string& hostName);

}  // namespace host
