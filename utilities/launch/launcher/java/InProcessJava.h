#pragma once
// Runs a Java class in a JVM inside this process, through JNI 1.4.

#include <string>
#include <vector>

// The class could not be run in this process. Never an exit code of the Java program.
constexpr int InvocationFailed = 0x0BADFEED;

// Returns the Java program's exit code, or InvocationFailed. Destroys a JVM that it has created;
// but a Java program that calls System.exit ends the process, and this does not return. An
// exception from main is printed by the runtime and otherwise ignored. Main thread, once per
// process.
int InvokeJavaInProcess(const std::string& className, const std::vector<std::string>& jvmOptions,
                        const std::vector<std::string>& arguments);
