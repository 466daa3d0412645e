// Calibrates and verifies phones, one after the other, on one core, and prints what that took as one JSON object.
#include <android/log.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <algorithm>
#include <vector>

#include "whole_phone.h"

namespace {

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

void keep_to_one_core() {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(static_cast<size_t>(sched_getcpu()), &cores);
  sched_setaffinity(0, sizeof cores, &cores);
}

}  // namespace

int main(int argc, char** argv) {
  const int phones = argc == 2 ? atoi(argv[1]) : 0;
  if (phones < 1) {
    fprintf(stderr, "usage: bench_phones COUNT\n");
    return 2;
  }
  keep_to_one_core();
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  std::vector<double> walls;
  double sensor_s = 0;
  for (int i = 0; i < phones; ++i) {
    const bench::PhoneRun run = bench::run_whole_phone(1 + static_cast<uint64_t>(i) % 100);
    walls.push_back(run.wall_s);
    sensor_s += run.sensor_s;
  }
  std::nth_element(walls.begin(), walls.begin() + phones / 2, walls.end());
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  printf(
      "{\"phones\": %d, \"wall_s\": %.6f, \"sensor_s\": %.6f, \"cpu_s\": %.6f, \"peak_kb\": %ld, \"switches\": %.1f}\n",
      phones, walls[static_cast<size_t>(phones) / 2], sensor_s / phones,
      (seconds(used.ru_utime) + seconds(used.ru_stime)) / phones, used.ru_maxrss,
      static_cast<double>(used.ru_nvcsw + used.ru_nivcsw) / phones);
  return 0;
}
