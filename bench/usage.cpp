// Runs a command, its output thrown away, and prints what it took: processor time in
// microseconds, user and system, and the greatest memory in KiB. A script can't tell the
// latter: what it starts counts the script's own memory as well.
//
//   qo_usage COMMAND [ARGUMENT...]
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) return std::fputs("usage: qo_usage COMMAND [ARGUMENT...]\n", stderr), 2;
  const pid_t child = fork();
  if (child == 0) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    execvp(argv[1], argv + 1);
    std::perror(argv[1]);
    _exit(2);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) return std::perror("qo_usage"), 2;
  const auto microseconds = [](const timeval& time) {
    return time.tv_sec * 1000000 + time.tv_usec;
  };
  std::printf("%ld %ld\n", microseconds(usage.ru_utime) + microseconds(usage.ru_stime),
              usage.ru_maxrss);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}
