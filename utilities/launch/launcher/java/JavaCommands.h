#pragma once
// The commands that are classes of the tool's Java program.
//
// Each handler runs its class with the tool's jar on the class path, its native library on the
// library path, the user's JVM options, and every parameter after the command as an argument, and
// returns the class's exit code. The workspace must have been located.

// The class is named as the command is registered.
int RunCommandByName();

int RunProfileIO();
