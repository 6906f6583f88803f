#pragma once
// The version of a Java runtime, and the launcher's options that it no longer accepts.

#include <string>
#include <vector>

// The feature version (8, 11, 25) of the runtime that `file`, its library or `java` program,
// belongs to: JAVA_VERSION of a file named `release` in the file's directory or in one of the four
// above it. 0 if unknown, and for an empty path.
int JavaVersionOf(const std::string& file);

// `options` without the launcher's own option that the runtime of `file` has retired, which is
// printed as a diagnostic line. Unchanged if the version is unknown. The launcher's own options
// must follow the user's, which are always kept.
std::vector<std::string> OptionsKnownTo(const std::string& file,
                                        const std::vector<std::string>& options);
