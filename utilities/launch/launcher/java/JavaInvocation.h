#pragma once
// Runs one Java class: in a virtual machine inside this process, or in a `java` child process.

#include <string>
#include <vector>

// Runs the static main of `className` ("/" between package parts) and returns the Java program's
// exit code, or -1 when neither road could be taken. With `inProcessFirst` the child process is
// only the fall-back. Of several -Xmx options the last one counts. Main thread only; at most one
// virtual machine is created in a process.
int RunJavaClass(const std::string& className, const std::vector<std::string>& jvmOptions,
                 const std::vector<std::string>& arguments, bool inProcessFirst);
