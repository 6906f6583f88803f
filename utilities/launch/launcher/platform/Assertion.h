#pragma once
// Reports a programming error: unless `holds`, prints `condition` and the class `source` to
// standard error and calls abort.
void Assert(bool holds, const char* condition, const char* source);
