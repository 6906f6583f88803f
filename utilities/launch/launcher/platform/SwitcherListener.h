#pragma once
// The watcher: ends the launcher with exit code 1 as soon as the process that started it ends.

#include <windows.h>

// Starts the one watcher of this process; a second call does nothing. Returns at once. The watcher
// prints a warning and gives up when the parent cannot be found or opened, or has ended already.
void StartSwitcherListener();

// The id of the process's parent; 0 when it cannot be found.
DWORD FindParentProcessId(DWORD processId);

// The process, to be waited for; the caller closes the handle. Null when it cannot be opened or has
// ended, since one that has ended can be opened for as long as anybody holds it.
HANDLE OpenRunningProcess(DWORD processId);
