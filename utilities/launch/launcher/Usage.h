// The launcher's own help.
#pragma once

void PrintUsage();
