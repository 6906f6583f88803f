#pragma once
// The options with which a Java runtime runs a class.

#include <string>
#include <vector>

// The feature version (8, 11, 25) of the runtime that `file`, its library or `java` program,
// belongs to: JAVA_VERSION of a file named `release` in the file's directory or in one of the four
// above it. 0 if unknown, and for an empty path.
int JavaVersionOf(const std::string& file);

// `jvmOptions` with only the last -Xmx, then the launcher's garbage collector options. One that the
// runtime's version no longer knows is left out, which is printed as a diagnostic line; 0 for an
// unknown version.
std::vector<std::string> EffectiveOptions(const std::vector<std::string>& jvmOptions,
                                          int javaVersion);
