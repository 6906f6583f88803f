#pragma once
// What Java is on this host, and what it wants of options made for Windows.

#include <string>

namespace host {

// Turns the separators of a class path and of the paths in it; leaves other options as they are.
void AdaptJavaOption(std::string& option);

// The path of libjvm.so of the Java that the host offers: JAVA_HOME's, else that of `java` on PATH.
// Empty when there is none.
std::string FindJavaLibrary();

}  // namespace host
