#pragma once
// Runs another program as a child process and waits for it.

#include <string>
#include <vector>

// The path under which the system finds a program, however long; empty when it finds none. Prints
// nothing.
std::string SearchProgram(const std::string& name);

// `args` holds the program (a name, or a path) and its arguments; at least one text. `found` is
// what the search for the program gave; where it is empty, the program is taken relative to the
// current directory. The child shares the launcher's console, environment and current directory.
// Blocks until it ends and returns its exit code, or -1 when it could not be started. Throws
// nothing.
int Exec(const std::vector<std::string>& args, const std::string& found);
