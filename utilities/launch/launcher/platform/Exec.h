#pragma once
// Runs another program as a child process and waits for it.

#include <optional>
#include <string>
#include <vector>

// The path under which the system finds a program; empty when it finds none, nothing when the path
// is longer than a path may be. Prints nothing.
std::optional<std::string> SearchProgram(const std::string& name);

// `args` holds the program (a name to search for, or a path) and its arguments; at least one text.
// The child shares the launcher's console, environment and current directory. Blocks until it ends
// and returns its exit code, or -1 when it could not be started. Throws nothing.
int Exec(const std::vector<std::string>& args);
