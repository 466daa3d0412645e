// Runs our side of one row, for counting its instructions: two runs of different length differ by those of the row.
#include <stdlib.h>
#include <string.h>

#include <cstdio>

#include "rows/command.h"
#include "rows/event.h"
#include "rows/log.h"
#include "rows/window.h"

namespace {

template <typename Row>
int run(long times) {
  Row row;
  for (long i = 0; i < times; ++i) row.ours();
  return 0;
}

struct Named {
  const char* name;
  int (*run)(long times);
};

constexpr Named kRows[] = {
    {"1", run<bench::WindowRow>},        {"2", run<bench::EventRow>},   {"3a", run<bench::PrintedLineRow>},
    {"3b", run<bench::DisabledLineRow>}, {"4", run<bench::CommandRow>},
};

}  // namespace

int main(int argc, char** argv) {
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  for (const Named& row : kRows) {
    if (argc == 3 && strcmp(argv[1], row.name) == 0) return row.run(atol(argv[2]));
  }
  fprintf(stderr, "usage: bench_instructions 1|2|3a|3b|4 TIMES\n");
  return 2;
}
