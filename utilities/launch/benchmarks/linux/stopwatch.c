// Runs a command and measures it: stopwatch pipe|slow|FILE COMMAND ARGUMENT...
//
// The command's standard output goes to a pipe, to a pipe that is not read for two seconds, or to a
// file; its standard error goes to /dev/null. Prints the nanoseconds until command and output have
// ended, peak memory in KiB, exit code (or 1000 + the signal) and the lines read from the pipe.
//
// A separate small program, because a child's peak memory includes that of its parent at the start.
#define _GNU_SOURCE  // pipe2
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern char** environ;

static long long Now(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000000000LL + now.tv_nsec;
}

static long CountLines(int descriptor) {
  static char block[65536];
  long lines = 0;
  for (ssize_t length = 0; (length = read(descriptor, block, sizeof block)) > 0;) {
    for (const char* at = block; (at = memchr(at, '\n', (size_t)(block + length - at))); ++at) {
      ++lines;
    }
  }
  return lines;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fputs("usage: stopwatch pipe|slow|FILE COMMAND ARGUMENT...\n", stderr);
    return 2;
  }
  const int isSlow = strcmp(argv[1], "slow") == 0;
  const int isPipe = isSlow || strcmp(argv[1], "pipe") == 0;
  int sink[2] = {-1, -1};
  if (isPipe ? pipe2(sink, O_CLOEXEC) != 0
             : (sink[1] = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) < 0) {
    perror(argv[1]);
    return 2;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, sink[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);

  const long long start = Now();
  pid_t child = 0;
  const int error = posix_spawnp(&child, argv[2], &actions, NULL, argv + 2, environ);
  if (error != 0) {
    fprintf(stderr, "%s: %s\n", argv[2], strerror(error));
    return 2;
  }
  close(sink[1]);
  if (isSlow) {
    sleep(2);
  }
  const long lines = isPipe ? CountLines(sink[0]) : 0;
  int status = 0;
  struct rusage usage;
  wait4(child, &status, 0, &usage);
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  printf("%lld %ld %d %ld\n", Now() - start, usage.ru_maxrss, code, lines);
  return 0;
}
