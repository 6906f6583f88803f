#pragma once
// The launcher's own help.

void PrintUsage();
