#pragma once
// The watcher: ends the launcher with exit code 1 when its parent process ends.

#include <windows.h>

#include "platform/Owner.h"

// Starts the watcher thread, once per process. It prints a warning and stops if the parent cannot
// be found or opened, or has already ended.
void StartSwitcherListener();

// 0 if not found.
DWORD FindParentProcessId(DWORD processId);

// A handle to wait for. Null if the process cannot be opened or has ended:
// Windows opens ended processes while any handle to them exists.
Handle OpenRunningProcess(DWORD processId);
