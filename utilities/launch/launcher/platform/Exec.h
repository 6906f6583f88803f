#pragma once
// Runs another program as a child process and waits for it.

#include <string>
#include <vector>

// The path at which the system finds the program, of any length; empty if not found. Prints
// nothing.
std::string SearchProgram(const std::string& name);

// `args` is the program (a name or a path) and its arguments; not empty. `found` is SearchProgram's
// result; if it is empty, the program is relative to the current directory. The child shares the
// launcher's console, environment and current directory. Waits for the child and returns its exit
// code, or -1 if it could not be started.
int Exec(const std::vector<std::string>& args, const std::string& found);
