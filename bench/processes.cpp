// Two commands as whole processes by turns, their output thrown away: medians of their wall times and of the
// pairs' ratios, as one JSON object.
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <vector>

extern char** environ;

namespace {

struct Spent {
  double wall_s;
  double cpu_s;
};

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

Spent run(char** command) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  int status = 0;
  rusage used{};
  const bool ran = posix_spawn(&child, command[0], &actions, nullptr, command, environ) == 0 &&
                   wait4(child, &status, 0, &used) == child && WIFEXITED(status) && WEXITSTATUS(status) <= 1;
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
  posix_spawn_file_actions_destroy(&actions);
  if (!ran) {
    fprintf(stderr, "bench: %s failed\n", command[0]);
    exit(1);
  }
  return {spent.count(), seconds(used.ru_utime) + seconds(used.ru_stime)};
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  char** const ours = argv + 2;
  char** theirs = ours;
  while (theirs < argv + argc && strcmp(*theirs, "--") != 0) ++theirs;
  const int pairs = argc > 1 ? atoi(argv[1]) : 0;
  if (pairs < 1 || theirs == ours || theirs + 1 >= argv + argc) {
    fprintf(stderr, "usage: bench_processes PAIRS COMMAND... -- COMMAND...\n");
    return 2;
  }
  *theirs++ = nullptr;
  std::vector<double> our_s, their_s, ratios, cpu_ratios;
  run(ours);
  run(theirs);
  for (int i = 0; i < pairs; ++i) {
    const bool first = i % 2 == 0;
    const Spent earlier = run(first ? ours : theirs);
    const Spent later = run(first ? theirs : ours);
    const Spent& one = first ? earlier : later;
    const Spent& other = first ? later : earlier;
    our_s.push_back(one.wall_s);
    their_s.push_back(other.wall_s);
    ratios.push_back(one.wall_s / other.wall_s);
    cpu_ratios.push_back(one.cpu_s / other.cpu_s);
  }
  printf("{\"ours\": %.6f, \"theirs\": %.6f, \"ratio\": %.4f, \"cpu_ratio\": %.4f}\n", median(our_s), median(their_s),
         median(ratios), median(cpu_ratios));
  return 0;
}
