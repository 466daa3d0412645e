// `sensorcal line`: a production line of simulated phones and stations.

#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "line/phone_run.h"
#include "line/worker_pool.h"
#include "record/exit_code.h"
#include "simulator/drawn_phone.h"
#include "simulator_commands/interrupts.h"
#include "store/store.h"
#include "store/uri.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

struct Arguments {
  uint64_t phones = 0;
  int stations = 2;
  double fault_rate = 0;
  std::string store, spool, plan;
  std::optional<double> patience_s;
  bool station_process = false;
};

// What is wrong with a store shows before a phone is run. A server may be away: then runs wait.
void try_store(const store::Uri& uri) {
  try {
    const store::Store store(uri);
  } catch (const store::AwayError& error) {
    complain(error.what());
  } catch (const store::StoreError& error) {
    throw AppError(kUsage, error.what());
  }
}

std::string spools_folder(const store::Uri& uri, const Arguments& a) {
  if (!uri.postgresql) {
    if (!a.spool.empty() || a.patience_s)
      throw AppError(kUsage, "--spool and --patience go with a server; " + uri.shown + " is a file and needs none");
    return "";
  }
  const fs::path folder =
      a.spool.empty() ? fs::path(store::default_spool(uri)).replace_extension() : fs::absolute(a.spool);
  std::error_code error;
  fs::create_directories(folder, error);
  if (error)
    throw AppError(kUsage, "no place for the spools: " + folder.string() + " cannot be made: " + error.message() +
                               "; name one with --spool FOLDER");
  return folder.lexically_normal().string();
}

line::StationTask task_of(const Options& options, const Arguments& a, const store::Uri& uri) {
  line::StationTask task;
  const plan::Plan plan = a.plan.empty() ? line::usual_plan() : plan::load_plan(a.plan);
  task.plan_file = plan.file;
  task.plan_bytes = plan.bytes;
  task.profile = line::absolute_profile(options.profile);
  task.seed = options.seed.value_or(1);
  task.fault_rate = a.fault_rate;
  task.store = uri.postgresql ? a.store : "sqlite:" + uri.place;
  task.patience_s = a.patience_s.value_or(60);
  return task;
}

std::string percent_text(uint64_t part, uint64_t whole) {
  return whole == 0 ? "-" : fixed(100.0 * static_cast<double>(part) / static_cast<double>(whole), 2) + " %";
}

double per_second(const line::LineResult& result) { return static_cast<double>(result.done()) / result.seconds; }

std::string progress_text(const line::LineResult& result) {
  return std::to_string(result.done()) + " of " + std::to_string(result.phones) + " phones, " +
         percent_text(result.passed, result.done()) + " passed, " + fixed(per_second(result), 0) + " a second" +
         (result.restarts == 0 ? "" : ", " + std::to_string(result.restarts) + " restarts");
}

Json::Value to_json(const line::LineResult& result, const Arguments& a, uint64_t seed) {
  return json_object({{"phones", result.phones},
                      {"stations", a.stations},
                      {"seed", seed},
                      {"fault_rate", a.fault_rate},
                      {"passed", result.passed},
                      {"failed", result.failed},
                      {"errors", result.errors},
                      {"given_up", Json::UInt64{result.given_up}},
                      {"restarts", result.restarts},
                      {"waiting", result.waiting},
                      {"seconds", std::round(result.seconds * 1000) / 1000},
                      {"runs_per_second", std::round(per_second(result) * 10) / 10},
                      {"interrupted", result.interrupted}});
}

std::string to_text(const line::LineResult& result, const std::string& spools) {
  std::string out = std::to_string(result.done()) + " phones in " + fixed(result.seconds, 1) + " s, " +
                    fixed(per_second(result), 1) + " a second\n" + std::to_string(result.passed) + " passed, " +
                    std::to_string(result.failed) + " failed: a yield of " +
                    percent_text(result.passed, result.passed + result.failed) + "\n";
  if (result.errors > 0) out += alert(std::to_string(result.errors) + " could not be judged") + "\n";
  if (result.restarts > 0) out += "stations restarted: " + std::to_string(result.restarts) + "\n";
  if (result.given_up > 0) out += bad("phones given up: " + std::to_string(result.given_up)) + "\n";
  if (result.waiting > 0)
    out += bad("runs still waiting for the server: " + std::to_string(result.waiting)) + ", in " + spools +
           "; the next line there brings them up, or `sensorcal sync --spool FILE` for each of its files\n";
  return out;
}

// Phones that were given up are phones that could not be judged. What waits in a spool is delivered.
int exit_code(const line::LineResult& result) {
  using record::Outcome;
  return record::exit_code(result.interrupted              ? Outcome::aborted
                           : result.done() < result.phones ? Outcome::error
                                                           : Outcome::passed,
                           true);
}

int run_line(const Options& options, const Arguments& a) {
  if (a.phones == 0) throw AppError(kUsage, "line: how many --phones?");
  if (a.store.empty()) throw AppError(kUsage, "line: --store is missing");
  const store::Uri uri = store::parse_uri(a.store);
  line::StationTask task = task_of(options, a, uri);
  const std::string spools = spools_folder(uri, a);
  try_store(uri);
  const Interrupts interrupts;
  const PhonesFolder folder;
  task.folder = folder.path();
  line::LineResult result;
  {
    line::WorkerPool pool(task, spools, a.stations, a.phones);
    StatusLine progress(!options.json);
    result = pool.run(interrupts.came(), [&](const line::LineResult& now) { progress.show(progress_text(now)); });
  }
  print_result(options.json, "line/1", to_json(result, a, task.seed), to_text(result, spools));
  return exit_code(result);
}

}  // namespace

Runner set_up_line(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  Arguments& a = *arguments;
  parser.add_option("--phones", a.phones, "how many; each is drawn from its seed: --seed and the following numbers",
                    {.low = 1, .high = 1000000000});
  parser.add_option("--stations", a.stations, "how many, each a process of its own",
                    {.shows_default = true, .low = 1, .high = 64});
  parser.add_option("--fault-rate", a.fault_rate, "share of the phones that have something wrong with them",
                    {.shows_default = true, .low = 0, .high = 1});
  parser.add_option("--store", a.store, "where the runs go: a file, sqlite:FILE or postgresql://...",
                    {.envname = "SENSORCAL_STORE"});
  parser.add_option("--spool", a.spool, "with a server: folder of the files in which each station's runs wait for it");
  parser.add_option("--plan", a.plan, "plan file (JSON; default: the inertial sensors)");
  parser.add_option("--patience", a.patience_s,
                    "seconds that stations wait at the end for a server that is away (default: 60)",
                    {.low = 0, .high = 86400});
  parser.add_flag("--station-process", a.station_process, "", {.hidden = true});
  return [arguments](const Options& options) {
    return arguments->station_process ? line::run_station() : run_line(options, *arguments);
  };
}

}  // namespace factory
