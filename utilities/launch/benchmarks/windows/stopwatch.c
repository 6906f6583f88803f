// Runs one command and measures it: stopwatch FILE COMMAND ARGUMENT...
//
// The command's standard output goes to the file, its standard error nowhere. Prints what
// Linux's stopwatch does, with 0 for memory and lines, and the low 8 bits of the exit code. The
// arguments must not contain blanks.
#include <windows.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  if (argc < 3) {
    fputs("usage: stopwatch FILE COMMAND ARGUMENT...\n", stderr);
    return 2;
  }
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, NULL, TRUE};
  STARTUPINFOA startup = {.cb = sizeof startup, .dwFlags = STARTF_USESTDHANDLES};
  startup.hStdOutput = CreateFileA(argv[1], GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                                   CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
  static char line[32768];
  for (int i = 2; i < argc; ++i) {
    strncat(line, i > 2 ? " " : "", sizeof line - strlen(line) - 1);
    strncat(line, argv[i], sizeof line - strlen(line) - 1);
  }
  PROCESS_INFORMATION process;
  LARGE_INTEGER frequency, start, end;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&start);
  if (!CreateProcessA(NULL, line, NULL, NULL, TRUE, 0, NULL, NULL, &startup, &process)) {
    fprintf(stderr, "%s: error %lu\n", argv[2], GetLastError());
    return 2;
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  QueryPerformanceCounter(&end);
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  const double seconds = (double)(end.QuadPart - start.QuadPart) / (double)frequency.QuadPart;
  printf("%.0f 0 %lu 0\n", 1e9 * seconds, code & 0xFF);
  return 0;
}
