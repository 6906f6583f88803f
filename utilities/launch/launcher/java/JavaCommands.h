#pragma once
// The commands that are classes of the tool's Java program.

#include <string>

// Where the build verbs' classes are, and those of most other commands.
extern const char kCommandsPackage[];

// Runs a class of the tool with the tool's jar on the class path, its native library on the library
// path, the user's JVM options, and every parameter after the command as an argument. `className`
// has "/" between package parts. The workspace must have been located. Returns the class's exit
// code.
int RunJavaCommand(const std::string& className);

// The command handlers. The class is named as the command is registered, in the package above, ...
int RunCommandByName();
// ... but for this one.
int RunProfileIO();
