// The platform half of jni.h for 64-bit Windows: how the runtime's functions are exported and
// called, and the width of the integers that jni.h leaves to the platform.
#pragma once

#define JNIEXPORT __declspec(dllexport)
#define JNIIMPORT __declspec(dllimport)
#define JNICALL __stdcall

typedef long jint;
typedef long long jlong;
typedef signed char jbyte;
