// Runs a program with its output thrown away and prints the CPU time that it took, in seconds, and
// its largest resident size in KiB.
// Usage: measure_command PROGRAM [ARGUMENT]...
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

pid_t start(char** words) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  const int error = posix_spawnp(&child, words[0], &actions, nullptr, words, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == 0) return child;
  std::fprintf(stderr, "measure_command: %s: %s\n", words[0], std::strerror(error));
  return -1;
}

}  // namespace

int main(int count, char** words) {
  if (count < 2) {
    std::fputs("usage: measure_command PROGRAM [ARGUMENT]...\n", stderr);
    return 2;
  }
  const pid_t child = start(words + 1);
  int status = 0;
  rusage used{};
  if (child < 0 || wait4(child, &status, 0, &used) != child) return 1;
  std::printf("%.6f %ld\n", seconds(used.ru_utime) + seconds(used.ru_stime), used.ru_maxrss);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return 0;
  std::fprintf(stderr, "measure_command: %s failed\n", words[1]);
  return 1;
}
