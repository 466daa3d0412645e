// `sensorcal grr --run`: a study of stations from runs that are made for it.
#include <chrono>
#include <filesystem>
#include <memory>

#include "commands/phone/commands.h"
#include "commands/station/grr.h"
#include "line/phone_run.h"
#include "simulator/drawn_phone.h"
#include "store/keeper.h"
#include "store/run_id.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

struct Arguments : GrrArguments {
  std::string run;
  int phones = 10, stations = 3, trials = 3;
};

// Every phone is at every station in every round, as in a real study; its station's fixture is off by what is drawn for
// the station. A phone keeps what the run before has left in it.
class StudyRuns {
 public:
  StudyRuns(const Options& options, const Arguments& a)
      : a_(a),
        plan_(plan::load_plan(a.run)),
        profile_(line::absolute_profile(options.profile)),
        seed_(options.seed.value_or(1)),
        folder_(new_phones_folder()) {
    if (!a.uri.empty()) keeper_ = std::make_unique<store::Keeper>(a.uri, "", false);
  }
  ~StudyRuns() {
    std::error_code ignored;
    fs::current_path("/", ignored);
    fs::remove_all(folder_, ignored);
  }
  StudyRuns(const StudyRuns&) = delete;
  StudyRuns& operator=(const StudyRuns&) = delete;

  // False: interrupted.
  bool go() {
    for (int trial = 0; trial < a_.trials; ++trial) {
      for (int station = 0; station < a_.stations; ++station) {
        for (int phone = 0; phone < a_.phones; ++phone) {
          if (!run(phone, station)) return false;
        }
      }
    }
    return true;
  }
  void bring_up() {
    if (keeper_) (void)keeper_->bring_up("");
  }
  grr::SeriesOfRuns series() const { return grr::series_of(runs_, a_.filter.measurement); }

 private:
  bool run(int phone, int station) {
    line::PhoneJob job;
    job.seed = seed_ + static_cast<uint64_t>(phone);
    job.directory = folder_ + "/" + std::to_string(phone);
    job.profile = profile_;
    job.serial = line::serial_of(job.seed);
    job.station = line::station_name(station);
    job.station_seed = line::station_seed(seed_, station);
    line::PhoneRun done = run_phone(plan_, job);
    if (done.interrupted) return false;
    done.record.id = store::make_run_id(std::chrono::system_clock::now());
    if (keeper_) keeper_->keep(done.record);
    runs_.push_back(std::move(done.record));
    return true;
  }

  const Arguments a_;
  const plan::Plan plan_;
  const std::string profile_;
  const uint64_t seed_;
  const std::string folder_;
  std::unique_ptr<store::Keeper> keeper_;
  std::vector<record::Run> runs_;
};

int run_study(const Options& options, const Arguments& a) {
  require_consistent(a, true);
  if (!a.file.empty()) throw AppError(kUsage, "grr: a file, or --run and a plan, not both");
  line::require_drawn(options, "grr --run");
  StudyRuns runs(options, a);
  if (!runs.go()) return kInterrupted;
  const int code = tell_grr(runs.series(), options, a);
  runs.bring_up();
  return code;
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
                    {.shows_default = true, .low = 2, .high = 1000});
  parser.add_option("--stations", a.stations, "with --run: how many stations",
                    {.shows_default = true, .low = 2, .high = 1000});
  parser.add_option("--trials", a.trials, "with --run: how often each phone is at each station",
                    {.shows_default = true, .low = 2, .high = 1000});
  return [arguments](const Options& options) {
    return arguments->run.empty() ? run_grr(options, *arguments) : run_study(options, *arguments);
  };
}

}  // namespace factory
