#pragma once
// Ends the process when a condition that only a programming error can break does not hold.

// Does nothing when `holds`; otherwise names `condition` and the class `source` on standard error
// and aborts.
void Assert(bool holds, const char* condition, const char* source);
