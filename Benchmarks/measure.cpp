// Runs a command and prints what it took: wall time in seconds, bytes written, peak memory in KB, exit code.
//   measure COMMAND ARGUMENT...
// A program of its own because a process's peak memory counts that of the one that started it: this one is small.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

[[noreturn]] void become(char** command) {
  const int nowhere = open("/dev/null", O_RDWR);
  dup2(nowhere, STDIN_FILENO);
  dup2(nowhere, STDOUT_FILENO);
  execvp(command[0], command);
  std::perror(command[0]);
  _exit(127);
}

// Of a process that has ended but was not waited for; -1 where only root may look.
long long written_bytes(pid_t process) {
  std::ifstream counters("/proc/" + std::to_string(process) + "/io");
  std::string name;
  long long value = 0;
  while (counters >> name >> value) {
    if (name == "wchar:") return value;
  }
  return -1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) {
    std::fprintf(stderr, "measure COMMAND ARGUMENT...\n");
    return 2;
  }
  const auto begin = std::chrono::steady_clock::now();
  const pid_t process = fork();
  if (process < 0) return EXIT_FAILURE;
  if (process == 0) become(arguments + 1);
  siginfo_t ended{};
  if (waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) != 0) return EXIT_FAILURE;
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  const long long written = written_bytes(process);
  int status = 0;
  rusage usage{};
  if (wait4(process, &status, 0, &usage) != process) return EXIT_FAILURE;
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  std::printf("%.6f %lld %ld %d\n", seconds.count(), written, usage.ru_maxrss, code);
  return EXIT_SUCCESS;
}
