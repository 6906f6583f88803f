#pragma once
// What an option list made for Java on Windows needs before a Java of the host can take it.

#include <string>
#include <vector>

namespace host {

// The feature version (8, 17) of the runtime that a program or library belongs to, 0 when unknown:
// its "release" file lies one to four levels above the file's own directory, whatever links lead
// there.
int JavaVersionOf(const std::string& hostPath);

// Turns the class path's separators. False for an option that this Java no longer takes and that
// must be left out.
bool AdaptJavaOption(std::string& option, int javaVersion);

// The options among a java program's arguments, which end with the class name; the first element is
// the program.
void AdaptJavaArguments(std::vector<std::string>& arguments, int javaVersion);

// The Java that the host offers: JAVA_HOME's, else that of `java` on PATH.
struct JavaRuntime {
  std::string version;  // as the registry of Windows names it: "1.8", "17"; "0" when unknown
  std::string library;  // path of libjvm.so; empty when there is no Java
};
JavaRuntime FindJavaRuntime();

}  // namespace host
