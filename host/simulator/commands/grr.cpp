// `sensorcal grr`: how well stations repeat themselves and each other, from a file, a store or runs made for it.
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "files/json_text.h"
#include "line/phone_run.h"
#include "quality/grr_view.h"
#include "quality/stored_study.h"
#include "simulator/drawn_phone.h"
#include "store/keeper.h"
#include "store/run_id.h"
#include "store/schema.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

struct Arguments {
  std::string file, uri, since, until, run, unit;
  store::Filter filter;
  std::optional<double> low, high;
  int phones = 10, stations = 3, trials = 3;
  double alpha = grr::kUsualAlpha;
  bool full = false;
};

grr::Findings from_file(const Arguments& a) {
  grr::Findings out{a.alpha, {}, {}};
  grr::Study study;
  const grr::Subject subject{fs::path(a.file).filename().string(), a.unit, a.low, a.high};
  const std::string problem = make_study(subject, grr::read_csv(a.file), &study);
  if (!problem.empty()) throw AppError(kUsage, a.file + ": no study: " + problem);
  out.add(study);
  return out;
}

grr::Findings from_series(const grr::SeriesOfRuns& runs, const Arguments& a) {
  grr::Findings out{a.alpha, {}, {}};
  for (const grr::Series& series : runs.series) {
    grr::Study study;
    const std::string problem = make_study(series.subject, series.readings, &study);
    if (problem.empty()) {
      out.add(study);
    } else {
      out.skipped.push_back({series.subject.name, problem});
    }
  }
  if (runs.without_serial > 0) {
    out.skipped.push_back({store::count_of_runs(static_cast<int>(runs.without_serial)) + " without a serial number",
                           "which phone it was is not known"});
  }
  return out;
}

grr::Findings from_store(const Options& options, Arguments a) {
  if (!a.since.empty()) a.filter.since_ms = store::parse_time_ms(a.since);
  if (!a.until.empty()) a.filter.until_ms = store::parse_time_ms(a.until);
  a.filter.profile = options.profile;
  try {
    store::Database database(store::parse_uri(a.uri), store::Database::Access::existing);
    require_schema(&database);
    return from_series(grr::stored_series(&database, a.filter), a);
  } catch (const store::AwayError& error) {
    throw AppError(kUnreachable, error.what());
  } catch (const store::StoreError& error) {
    throw AppError(kUsage, error.what());
  }
}

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

int tell(const grr::Findings& findings, const Options& options, const Arguments& a) {
  if (options.json) {
    std::cout << json_pretty(to_json(findings)) << std::endl;
  } else {
    std::cout << to_text(findings, a.full) << std::flush;
    if (findings.studies.empty()) std::cout << "no study\n";
  }
  return findings.studies.empty() || findings.any_rejected() ? kFailed : kPassed;
}

int grr_from_runs(const Options& options, const Arguments& a) {
  line::require_drawn(options, "grr --run");
  StudyRuns runs(options, a);
  if (!runs.go()) return kInterrupted;
  const int code = tell(from_series(runs.series(), a), options, a);
  runs.bring_up();
  return code;
}

int run_grr(const Options& options, const Arguments& a) {
  const bool limits = a.low || a.high || !a.unit.empty();
  if (limits && a.file.empty())
    throw AppError(kUsage, "grr: --low, --high and --unit go with a file; runs have their own");
  if (a.low && a.high && *a.low >= *a.high) throw AppError(kUsage, "grr: --low is not below --high");
  const store::Filter& f = a.filter;
  const bool filters = !(a.since + a.until + f.station + f.plan + f.version).empty();
  if (filters && !(a.file.empty() && a.run.empty()))
    throw AppError(kUsage, "grr: --since, --until, --station, --plan and --app-version choose stored runs only");
  if (!a.file.empty()) {
    if (!a.run.empty()) throw AppError(kUsage, "grr: a file, or --run and a plan, not both");
    return tell(from_file(a), options, a);
  }
  if (!a.run.empty()) return grr_from_runs(options, a);
  if (a.uri.empty()) throw AppError(kUsage, "grr: wanted: a file, --store, or --run and a plan");
  return tell(from_store(options, a), options, a);
}

}  // namespace

Runner set_up_grr(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  Arguments& a = *arguments;
  parser.add_option("FILE", a.file, "readings as comma-separated values: columns phone, station, trial, value");
  parser.add_option("--low", a.low, "the value's lower limit, with a file");
  parser.add_option("--high", a.high, "the value's upper limit, with a file");
  parser.add_option("--unit", a.unit, "the value's unit, with a file");
  parser.add_option("--store", a.uri, "runs of a store instead of a file; with --run: where the runs go, too")
      .envname("SENSORCAL_STORE");
  parser.add_option("--since", a.since, "runs from this time on: YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS], UTC");
  parser.add_option("--until", a.until, "runs before this time");
  parser.add_option("--station", a.filter.station, "runs of one station");
  parser.add_option("--plan", a.filter.plan, "runs of the plan of this name");
  parser.add_option("--app-version", a.filter.version, "runs by one version of sensorcal");
  parser.add_option("--measurement", a.filter.measurement, "measurements of this name only");
  parser.add_option("--run", a.run,
                    "runs this plan file on simulated phones, drawn from --seed and the following numbers");
  parser.add_option("--phones", a.phones, "with --run: how many phones").range(2, 1000).capture_default_str();
  parser.add_option("--stations", a.stations, "with --run: how many stations").range(2, 1000).capture_default_str();
  parser.add_option("--trials", a.trials, "with --run: how often each phone is at each station")
      .range(2, 1000)
      .capture_default_str();
  parser.add_option("--alpha", a.alpha, "an interaction whose p is above this counts as repeatability")
      .in_range(0, 1)
      .capture_default_str();
  parser.add_flag("--full", a.full, "the whole analysis of each measurement");
  return [arguments](const Options& options) { return run_grr(options, *arguments); };
}

}  // namespace factory
