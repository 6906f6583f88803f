// The floor of a process: prints as much as the launcher's usage text, and returns.
#include <stdio.h>

int main(void) {
  for (int line = 0; line < 28; ++line) {
    fputs("\tA line of usage text, <thirty-one>\n", stdout);
  }
  return 255;
}
