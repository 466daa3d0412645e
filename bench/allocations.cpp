// Heap allocations of the library per event and per message, counted where the heap is asked: one JSON object.
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include <atomic>

#include "rows/command.h"
#include "rows/event.h"
#include "rows/log.h"

namespace {

std::atomic<long> g_allocations{0};

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

template <typename Row>
double per_call(Row& row) {
  constexpr int kTimes = 1000;
  row.ours();
  const long before = g_allocations;
  for (int i = 0; i < kTimes; ++i) row.ours();
  return static_cast<double>(g_allocations - before) / kTimes;
}

template <typename Row>
double allocations(android_LogPriority minimum) {
  __android_log_set_logger(bench::count_line);
  __android_log_set_minimum_priority(minimum);
  Row row;
  return per_call(row);
}

}  // namespace

// Every operator new ends here too.
extern "C" void* malloc(size_t size) {
  static auto* const real = next<void*(size_t)>("malloc");
  ++g_allocations;
  return real(size);
}
extern "C" void* realloc(void* old, size_t size) {
  static auto* const real = next<void*(void*, size_t)>("realloc");
  ++g_allocations;
  return real(old, size);
}

int main() {
  // The lines printed too: that is the longer way.
  const double event = allocations<bench::EventRow>(ANDROID_LOG_VERBOSE);
  const double message = allocations<bench::CommandRow>(ANDROID_LOG_VERBOSE);
  void* const seen = malloc(1);
  free(seen);
  if (g_allocations == 0) {
    fprintf(stderr, "bench: the heap is not being watched\n");
    return 1;
  }
  printf("{\"event\": %g, \"message\": %g}\n", event, message);
  return 0;
}
