// The store of runs: fills one, and times it against the bare database.
//   bench_store fill URI [RUNS [DAYS [SEED [PART PARTS]]]]
//                                             a store of a line's runs; PART of them, from 0, for writers side by side
//   bench_store insert FOLDER RUNS ROUNDS     as many runs of either side, by turns
//   bench_store import FOLDER RUNS ROUNDS     a store in a file into another one, rows copied by either side
//   bench_store records FOLDER RUNS ROUNDS    records from a file: read and stored, and only read
//   bench_store stats FILE ROUNDS             all statistics of a store in a file
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <vector>

#include "files/json_text.h"
#include "quality/statistics.h"
#include "record/record_json.h"
#include "store/bare_sqlite.h"
#include "store/copy.h"
#include "store/made_runs.h"
#include "store/run_id.h"
#include "store/store.h"
#include "store/stored_text.h"

namespace bench {
namespace {

namespace fs = factory::store;

double wall_s() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

// What this thread has had of a processor: what others take away from it does not count.
double processor_s() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Both sides in turn, so that what else the machine does meets both alike; who goes first changes.
// `megabytes`: that either side goes through.
void compare(int rounds, const std::function<void()>& ours, const std::function<void()>& theirs, double megabytes = 0) {
  const auto time = [](const std::function<void()>& work) {
    const double start = processor_s();
    work();
    return processor_s() - start;
  };
  std::vector<double> our_s, their_s, ratios;
  time(ours);
  time(theirs);
  for (int i = 0; i < rounds; ++i) {
    if (i % 2 == 0) our_s.push_back(time(ours));
    their_s.push_back(time(theirs));
    if (i % 2 != 0) our_s.push_back(time(ours));
    ratios.push_back(our_s.back() / their_s.back());
  }
  printf("{\"ours\": %.9g, \"theirs\": %.9g, \"ratio\": %.4f, \"megabytes\": %.3f}\n", median(our_s), median(their_s),
         median(ratios), megabytes);
}

int fill(const std::string& uri, const Line& line, int part, int parts) {
  fs::Store store(fs::parse_uri(uri));
  MadeRuns runs(line);
  const double wall = wall_s();
  const double processor = processor_s();
  int written = 0;
  for (int i = 0; i < line.runs; ++i) {
    const factory::record::Run run = runs.next();
    if (i % parts == part) written += store.put(run, false) ? 1 : 0;
  }
  printf("{\"runs\": %d, \"seconds\": %.3f, \"processor_s\": %.3f}\n", written, wall_s() - wall,
         processor_s() - processor);
  return 0;
}

int insert(const std::string& folder, int count, int rounds) {
  const auto place = [&](const char* name) { return fs::parse_uri((std::filesystem::path(folder) / name).string()); };
  Line line;
  line.runs = count * (rounds + 1);
  MadeRuns made(line);
  std::vector<factory::record::Run> runs;
  for (int i = 0; i < line.runs; ++i) runs.push_back(made.next());

  fs::Store store(place("ours.db"));
  const fs::Uri other = place("theirs.db");
  std::vector<Known> known;
  {
    fs::Store tables(other);
    fs::Dictionary dictionary(&tables.database());
    for (const factory::record::Run& run : runs) {
      const bool retried =
          std::any_of(run.steps.begin(), run.steps.end(), [](const auto& step) { return step.attempts.size() > 1; });
      known.push_back({dictionary.ids_of(run), fs::day_of_id(run.id), fs::key_of(run.serial), fs::time_of_id_ms(run.id),
                       retried ? 1 : 0, fs::failed_on(run), "[\"the sensor moved while it was sampled\"]"});
      store.dictionary().ids_of(run);
    }
  }
  BareDatabase bare(other.place);
  BareWriter writer(bare.get());
  size_t our_next = 0;
  size_t their_next = 0;
  compare(
      rounds,
      [&] {
        for (int i = 0; i < count; ++i) store.put(runs[our_next++], false);
      },
      [&] {
        for (int i = 0; i < count; ++i, ++their_next) writer.put(runs[their_next], known[their_next]);
      });
  return 0;
}

fs::Uri place_in(const std::string& folder, const std::string& name) {
  return fs::parse_uri((std::filesystem::path(folder) / name).string());
}

int import(const std::string& folder, int count, int rounds) {
  Line line;
  line.runs = count;
  line.days = 30;
  MadeRuns made(line);
  const fs::Uri from = place_in(folder, "from.db");
  {
    fs::Store store(from);
    for (int i = 0; i < count; i += 200) {
      std::vector<factory::record::Run> runs;
      for (int more = 0; more < std::min(200, count - i); ++more) runs.push_back(made.next());
      store.put(runs, false);
    }
  }
  fs::Database source(from, fs::Database::Access::reading);
  int number = 0;
  const auto fresh = [&] { return place_in(folder, std::to_string(number++) + ".db"); };
  compare(
      rounds,
      [&] {
        fs::Store store(fresh());
        if (fs::copy_runs(&store, &source, {}).stored != count) throw std::runtime_error("not every run is copied");
      },
      [&] {
        const fs::Uri to = fresh();
        { fs::Store tables(to); }
        BareDatabase bare(to.place);
        const auto run = [&](const std::string& sql) { BareStatement(bare.get(), sql).run(); };
        run("ATTACH '" + from.place + "' AS other");
        run("BEGIN IMMEDIATE");
        for (const std::string table : {"setup", "plan_step", "series", "run", "step", "attempt", "measurement"})
          run("INSERT INTO " + table + " SELECT * FROM other." + table);
        run("COMMIT");
      });
  return 0;
}

int records(const std::string& folder, int count, int rounds) {
  MadeRuns made(Line{});
  const std::string file = folder + "/records.jsonl";
  {
    std::ofstream out(file);
    for (int i = 0; i < count; ++i) out << factory::json_line(to_json(made.next())) << "\n";
  }
  int number = 0;
  const auto read = [&](const std::function<void(std::vector<factory::record::Run>&)>& take) {
    std::ifstream in(file);
    std::vector<factory::record::Run> runs;
    for (std::string text; std::getline(in, text);) {
      runs.push_back(factory::record::read_run(text));
      if (runs.size() == 200 || in.peek() == EOF) take(runs);
    }
  };
  compare(
      rounds,
      [&] {
        fs::Store store(place_in(folder, "records" + std::to_string(number++) + ".db"));
        read([&](std::vector<factory::record::Run>& runs) {
          store.put(runs, false);
          runs.clear();
        });
      },
      [&] { read([](std::vector<factory::record::Run>& runs) { runs.clear(); }); },
      static_cast<double>(std::filesystem::file_size(file)) / 1e6);
  return 0;
}

// What stats shows, as one who knows SQL would ask for it: a question each.
const char* const kQuestions[] = {
    "SELECT s.id, m.day, COUNT(m.value), AVG(m.value), SUM((m.value - s.reference) * (m.value - s.reference)), "
    "MIN(m.value), MAX(m.value), COUNT(*) - COUNT(m.value), SUM(m.verdict = 2) FROM series s JOIN measurement m "
    "ON m.series = s.id WHERE m.deciding = 1 GROUP BY s.id, m.day",
    "SELECT day, verdict, COUNT(*), SUM(marginal), SUM(retried) FROM run GROUP BY day, verdict",
    "SELECT failed_step, failed_measurement, COUNT(*) FROM run WHERE verdict = 2 GROUP BY 1, 2",
    "SELECT plan, COUNT(*), SUM(last = last_passed), SUM(first = first_passed), SUM(runs) FROM (SELECT p.plan, "
    "MIN(r.id) AS first, MAX(r.id) AS last, MIN(CASE WHEN r.verdict = 0 THEN r.id END) AS first_passed, MAX(CASE WHEN "
    "r.verdict = 0 THEN r.id END) AS last_passed, COUNT(*) AS runs FROM run r JOIN setup p ON p.id = r.setup "
    "WHERE r.verdict <> 4 GROUP BY p.plan, r.serial_key) GROUP BY plan",
    "SELECT station, COUNT(*), SUM(last = last_passed), SUM(first = first_passed), SUM(runs) FROM (SELECT p.station, "
    "MIN(r.id) AS first, MAX(r.id) AS last, MIN(CASE WHEN r.verdict = 0 THEN r.id END) AS first_passed, MAX(CASE WHEN "
    "r.verdict = 0 THEN r.id END) AS last_passed, COUNT(*) AS runs FROM run r JOIN setup p ON p.id = r.setup "
    "WHERE r.verdict <> 4 GROUP BY p.station, p.plan, r.serial_key) GROUP BY station",
};

int stats(const std::string& file, int rounds) {
  const fs::Uri uri = fs::parse_uri(file);
  fs::Database database(uri, fs::Database::Access::reading);
  BareDatabase bare(uri.place);
  compare(
      rounds, [&] { fs::statistics(&database, {}); },
      [&] {
        int rows = 0;
        for (const char* question : kQuestions) {
          BareStatement statement(bare.get(), question);
          while (statement.step()) rows += sqlite3_column_double(statement.get(), 2) >= 0 ? 1 : 0;
        }
        if (rows == 0) throw std::runtime_error("the store is empty");
      });
  return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  const auto number = [&](size_t i, int otherwise) { return words.size() > i ? std::stoi(words[i]) : otherwise; };
  const std::string what = words.size() > 1 ? words[0] : "";
  if (what == "fill") {
    bench::Line line;
    line.runs = number(2, line.runs);
    line.days = number(3, line.days);
    line.seed = static_cast<unsigned>(number(4, 1));
    return bench::fill(words[1], line, number(5, 0), number(6, 1));
  }
  if (what == "insert") return bench::insert(words[1], number(2, 500), number(3, 15));
  if (what == "import") return bench::import(words[1], number(2, 20000), number(3, 5));
  if (what == "records") return bench::records(words[1], number(2, 2000), number(3, 5));
  if (what == "stats") return bench::stats(words[1], number(2, 5));
  std::cerr << "usage: bench_store fill URI [RUNS [DAYS [SEED [PART PARTS]]]] | insert, import or records FOLDER "
               "[RUNS [ROUNDS]] | stats FILE [ROUNDS]\n";
  return 2;
}
