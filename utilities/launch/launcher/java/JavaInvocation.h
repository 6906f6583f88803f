#pragma once
// Runs a Java class in a JVM inside this process or in a `java` child process.

#include <string>
#include <vector>

// Runs the static main of `className` ("/" between package parts) and returns the Java program's
// exit code, or -1 if Java could not be started. With `inProcessFirst` the child process is only
// the fallback. The last -Xmx option counts. Main thread only; at most one JVM per process.
int RunJavaClass(const std::string& className, const std::vector<std::string>& jvmOptions,
                 const std::vector<std::string>& arguments, bool inProcessFirst);
