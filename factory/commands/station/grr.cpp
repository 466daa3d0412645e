// `sensorcal grr`: how well stations repeat themselves and each other, from a file or a store.
#include "commands/station/stored_runs.h"

#include <filesystem>
#include <memory>

#include "commands/station/commands.h"
#include "files/json_text.h"
#include "store/keeper.h"

namespace factory {
namespace {

grr::Findings from_file(const GrrArguments& a) {
  grr::Findings out{a.alpha, {}, {}};
  grr::Study study;
  const grr::Subject subject{std::filesystem::path(a.file).filename().string(), a.unit, a.low, a.high};
  const std::string problem = make_study(subject, grr::read_csv(a.file), &study);
  if (!problem.empty()) throw AppError(kUsage, a.file + ": no study: " + problem);
  out.add(study);
  return out;
}

grr::Findings from_series(const grr::SeriesOfRuns& runs, const GrrArguments& a) {
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

int tell(const grr::Findings& findings, const CommonOptions& options, const GrrArguments& a) {
  print_result(options.json, "grr/1", to_json(findings),
               to_text(findings, a.full) + (findings.studies.empty() ? "no study\n" : ""));
  return findings.studies.empty() || findings.any_rejected() ? kFailed : kPassed;
}

}  // namespace

int tell_grr(const grr::SeriesOfRuns& runs, const CommonOptions& options, const GrrArguments& a) {
  return tell(from_series(runs, a), options, a);
}

void require_consistent(const CommonOptions& options, const GrrArguments& a, bool made) {
  const bool limits = a.low || a.high || !a.unit.empty();
  if (limits && a.file.empty())
    throw AppError(kUsage, "grr: --low, --high and --unit go with a file; runs have their own");
  if (a.low && a.high && *a.low >= *a.high) throw AppError(kUsage, "grr: --low is not below --high");
  const char* const usual = getenv("SENSORCAL_STORE");
  const bool stored = !a.uri.empty() && (usual == nullptr || a.uri != usual);
  if (!a.file.empty() &&
      (stored || !a.runs.filter.measurement.empty() || options.given != (options.json ? Uses::json : 0U)))
    throw AppError(kUsage, "grr: --store, --measurement, --profile and --seed do not go with a file");
  if (a.runs.any() && (made || !a.file.empty()))
    throw AppError(kUsage, "grr: --since, --until, --station, --plan and --app-version choose stored runs only");
}

int run_grr(const CommonOptions& options, const GrrArguments& a) {
  require_consistent(options, a, false);
  if ((options.given & Uses::seed) != 0) throw AppError(kUsage, "grr: --seed goes with --run");
  if (!a.file.empty()) return tell(from_file(a), options, a);
  if (a.uri.empty()) throw AppError(kUsage, "grr: wanted: a file or --store");
  store::Filter filter = a.runs.of(options.profile);
  return tell_grr(guarded([&] {
                    const auto database = opened_store(a.uri);
                    require_known(database.get(), &filter);
                    return grr::stored_series(database.get(), filter);
                  }),
                  options, a);
}

void add_grr_options(ArgumentParser parser, GrrArguments* arguments) {
  GrrArguments& a = *arguments;
  parser.add_option("FILE", a.file, "readings as comma-separated values: columns phone, station, trial, value");
  parser.add_option("--low", a.low, "the value's lower limit, with a file");
  parser.add_option("--high", a.high, "the value's upper limit, with a file");
  parser.add_option("--unit", a.unit, "the value's unit, with a file");
  parser.add_option("--store", a.uri, "runs of a store instead of a file", {.envname = "SENSORCAL_STORE"});
  a.runs.add_options(parser);
  parser.add_option("--alpha", a.alpha, "an interaction whose p is above this counts as repeatability",
                    {.shows_default = true, .low = 0, .high = 1});
  parser.add_flag("--full", a.full, "the whole analysis of each measurement");
}

StationRunner set_up_grr(ArgumentParser parser) {
  auto arguments = std::make_shared<GrrArguments>();
  add_grr_options(parser, arguments.get());
  return [arguments](const CommonOptions& options) { return run_grr(options, *arguments); };
}

}  // namespace factory
