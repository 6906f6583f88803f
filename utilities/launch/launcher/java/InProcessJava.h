#pragma once
// Runs one Java class in a virtual machine inside this process, through the Java Native Interface
// (version 1.4).

#include <string>
#include <vector>

// The class could not be run in this process; never the result of a run.
constexpr int InvocationFailed = 0x0BADFEED;

// Returns the Java program's exit code, or InvocationFailed. A virtual machine that was created is
// destroyed again on every way out; an exception that escapes main is described by the runtime and
// changes nothing else. `options` must stay as they are meanwhile. Main thread, once per process.
int InvokeJavaInProcess(const std::string& className, const std::vector<std::string>& options,
                        const std::vector<std::string>& arguments);
