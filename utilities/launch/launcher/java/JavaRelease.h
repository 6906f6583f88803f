#pragma once
// How old a Java runtime is, and which of the launcher's options it no longer knows.

#include <string>
#include <vector>

// The feature version (8, 11, 25) of the runtime to which `file` belongs, its library or its `java`
// program: what JAVA_VERSION says in a file named `release`, in the file's own directory or in one
// of the four above it. 0 when none says it, and for an empty path.
int JavaVersionOf(const std::string& file);

// The options less the launcher's own that the runtime of `file` is known to have retired; a
// diagnostic line tells of it. All of them when its version is not known. `options` has the
// launcher's own behind those of the user, which stay whatever the version.
std::vector<std::string> OptionsKnownTo(const std::string& file,
                                        const std::vector<std::string>& options);
