// Both sides of a row in turn, so that what else the machine does meets both alike.
#pragma once

#include <benchmark/benchmark.h>

#include <time.h>

#include <algorithm>
#include <vector>

namespace bench {

inline double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// What this thread has had of a processor: what others take away from it does not count.
inline double thread_ns() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// Nanoseconds of one call, over `batch` of them.
template <typename Function>
double time_ns(int batch, const Function& function) {
  const double start = thread_ns();
  for (int i = 0; i < batch; ++i) function();
  return (thread_ns() - start) / batch;
}

// Each iteration takes a batch of one side and a batch of the other, which goes first by turns. The medians are the
// counters "ours" and "theirs", and that of the pairs' ratios is "ratio".
template <typename Ours, typename Theirs>
void alternate(benchmark::State& state, int batch, const Ours& ours, const Theirs& theirs) {
  time_ns(batch, ours);  // caches, branch prediction, first allocations
  time_ns(batch, theirs);
  std::vector<double> our_ns, their_ns, ratios;
  for (auto _ : state) {
    const bool first = our_ns.size() % 2 == 0;
    if (first) our_ns.push_back(time_ns(batch, ours));
    their_ns.push_back(time_ns(batch, theirs));
    if (!first) our_ns.push_back(time_ns(batch, ours));
    ratios.push_back(our_ns.back() / their_ns.back());
    state.SetIterationTime((our_ns.back() + their_ns.back()) * batch * 1e-9);
  }
  state.counters["ours"] = median(our_ns);
  state.counters["theirs"] = median(their_ns);
  state.counters["ratio"] = median(ratios);
}

}  // namespace bench
