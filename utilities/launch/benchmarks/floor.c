// The lower bound for a process: prints as much text as the usage text has.
#include <stdio.h>

int main(void) {
  for (int line = 0; line < 28; ++line) {
    fputs("\tA line of usage text, <thirty-one>\n", stdout);
  }
  return 255;
}
