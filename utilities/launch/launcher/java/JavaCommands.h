#pragma once
// Commands that are classes of the Java program.
//
// Each handler runs its class with Torvel.jar on the class path, the native library on the library
// path, the user's JVM options, and all parameters after the command as arguments. It returns the
// class's exit code. The workspace must have been located.

// Runs com.drel.torvel.commands.<Command>.
int RunCommandByName();

// Runs com.drel.torvel.profile.ProfileIO.
int RunProfileIO();
