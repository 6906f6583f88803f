#pragma once
// The launcher's help text.

void PrintUsage();
