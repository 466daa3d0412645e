// The rows that fit into one process, each with its comparison.
#include <memory>

#include "alternate.h"
#include "rows/command.h"
#include "rows/event.h"
#include "rows/log.h"
#include "rows/table.h"
#include "rows/window.h"

namespace bench {
namespace {

template <typename Row>
void small_row(benchmark::State& state) {
  Row row;
  const auto batch = static_cast<int>(state.range(0));
  alternate(
      state, batch, [&row] { row.ours(); }, [&row] { row.theirs(); });
}

template <typename Row>
void file_row(benchmark::State& state, Row& row) {
  alternate(
      state, 1, [&row] { benchmark::DoNotOptimize(row.ours()); }, [&row] { benchmark::DoNotOptimize(row.theirs()); });
}

// Files as large as the range says: whole ones for the table, small ones to see that the row still runs.
void judge_table(benchmark::State& state) {
  JudgeTableRow row(static_cast<size_t>(state.range(0)));
  file_row(state, row);
}

void reference_file(benchmark::State& state) {
  ReferenceFileRow row(static_cast<size_t>(state.range(0)), state.range(1) != 0);
  file_row(state, row);
}

BENCHMARK_TEMPLATE(small_row, WindowRow)->Name("1")->Arg(100000)->UseManualTime();
BENCHMARK_TEMPLATE(small_row, EventRow)->Name("2")->Arg(100000)->UseManualTime();
BENCHMARK_TEMPLATE(small_row, PrintedLineRow)->Name("3a")->Arg(5000)->UseManualTime();
BENCHMARK_TEMPLATE(small_row, DisabledLineRow)->Name("3b")->Arg(100000)->UseManualTime();
BENCHMARK_TEMPLATE(small_row, CommandRow)->Name("4")->Arg(100000)->UseManualTime();
BENCHMARK(judge_table)->Name("9a")->Arg(100000)->Arg(100)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(reference_file)
    ->Name("9b")
    ->ArgsProduct({{100000000, 100000}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
