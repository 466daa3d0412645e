// `sensorcal grr --run`: a study of stations from runs that are made for it.
#include <chrono>
#include <memory>

#include "commands/phone/commands.h"
#include "commands/station/stored_runs.h"
#include "files/whole_file.h"
#include "line/phone_run.h"
#include "simulator/drawn_phone.h"
#include "simulator_commands/interrupts.h"
#include "store/keeper.h"
#include "store/run_id.h"

namespace factory {
namespace {

struct Arguments : GrrArguments {
  std::string run;
  int phones = 10, stations = 3, trials = 3;
};

// One phone at one station, whose fixture is off by what is drawn for the station. The phone keeps what the run before
// has left in it. False: interrupted.
bool run(const plan::Plan& plan, line::PhoneJob job, const std::string& measurement, store::Keeper* keeper,
         std::vector<record::Run>* runs) {
  job.serial = line::serial_of(job.seed);
  line::PhoneRun done = run_phone(plan, job);
  if (done.interrupted) return false;
  // Which measurements there are the first phone that passes tells, before anything is kept.
  if (runs->empty() && done.record.outcome == record::Outcome::passed) (void)grr::series_of({done.record}, measurement);
  done.record.id = store::make_run_id(std::chrono::system_clock::now());
  if (keeper != nullptr) keeper->keep(done.record);
  runs->push_back(std::move(done.record));
  return true;
}

// Every phone is at every station in every round, as in a real study.
int run_study(const Options& options, const Arguments& a) {
  require_consistent(options, a, true);
  if (!a.file.empty()) throw AppError(kUsage, "grr: a file, or --run and a plan, not both");
  if (a.next) throw AppError(kUsage, "grr next: --run makes its runs by itself");
  if (!a.html.empty()) require_output("--html", a.html, "<!DOCTYPE html>");
  const plan::Plan plan = plan::load_plan(a.run);
  const std::string profile = line::absolute_profile(options.profile);
  const uint64_t seed = options.seed.value_or(1);
  const auto keeper = a.uri.empty() ? nullptr : std::make_unique<store::Keeper>(a.uri, "", false);
  std::vector<record::Run> runs;
  bool interrupted = false;  // then what there is is told
  {
    const Interrupts interrupts;
    const PhonesFolder folder;
    const auto over = [&] { return interrupted |= interrupts.came(); };
    for (int trial = 0; trial < a.trials; ++trial) {
      for (int station = 0; station < a.stations; ++station) {
        for (int phone = 0; phone < a.phones && !over(); ++phone) {
          line::PhoneJob job;
          job.seed = seed + static_cast<uint64_t>(phone);
          job.directory = folder.path() + "/" + std::to_string(phone);
          job.profile = profile;
          job.station = line::station_name(station);
          job.station_seed = line::station_seed(seed, station);
          interrupted = !run(plan, job, a.runs.filter.measurement, keeper.get(), &runs);
        }
      }
    }
  }
  const int code = tell_grr(grr::series_of(runs, a.runs.filter.measurement), options, a);
  if (keeper) (void)keeper->bring_up("");
  return interrupted ? kInterrupted : code;
}

}  // namespace

Runner set_up_simulated_grr(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  Arguments& a = *arguments;
  add_grr_options(parser, &a);
  parser.add_option(
      "--run", a.run,
      "runs this plan file on simulated phones, drawn from --seed and the following numbers; with --store "
      "they go there, too");
  parser.add_option("--phones", a.phones, "with --run: how many phones",
                    {.shows_default = true, .needs = "--run", .low = 2, .high = 1000});
  parser.add_option("--stations", a.stations, "with --run: how many stations",
                    {.shows_default = true, .needs = "--run", .low = 2, .high = 1000});
  parser.add_option("--trials", a.trials, "with --run: how often each phone is at each station",
                    {.shows_default = true, .needs = "--run", .low = 2, .high = 1000});
  return [arguments](const Options& options) {
    return arguments->run.empty() ? run_grr(options, *arguments) : run_study(options, *arguments);
  };
}

}  // namespace factory
