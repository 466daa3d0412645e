// `sensorcal grr`: how well stations repeat themselves and each other, from a file or a store.
#include "commands/station/stored_runs.h"

#include <filesystem>
#include <memory>
#include <set>

#include "commands/station/commands.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "files/words.h"
#include "record/exit_code.h"
#include "store/keeper.h"

namespace factory {
namespace {

grr::By by_of(const std::string& text, grr::By usual) {
  return text.empty() ? usual : grr::By{text != "operators", text != "stations"};
}

grr::Findings from_file(const GrrArguments& a) {
  grr::Findings out{a.alpha, {}, {}};
  grr::Study study;
  const grr::Subject subject{std::filesystem::path(a.file).filename().string(), a.unit, a.low, a.high};
  const grr::Readings readings = grr::read_csv(a.file);
  const std::string problem = make_study(subject, readings.readings, by_of(a.by, readings.by), &study);
  if (!problem.empty()) throw AppError(kUsage, a.file + ": no study: " + problem);
  study.left_out.insert(study.left_out.begin(), readings.left_out.begin(), readings.left_out.end());
  out.add(study);
  return out;
}

grr::Findings from_series(const grr::SeriesOfRuns& runs, const GrrArguments& a) {
  grr::Findings out{a.alpha, {}, {}};
  for (const grr::Series& series : runs.series) {
    grr::Study study;
    const std::string problem = make_study(series.subject, series.readings, by_of(a.by, {}), &study);
    if (problem.empty()) {
      out.add(study);
    } else {
      out.skipped.push_back({series.subject.name, problem});
    }
  }
  if (!runs.none.empty()) out.skipped.push_back({"the chosen runs", runs.none});
  if (runs.without_serial > 0) {
    out.skipped.push_back(
        {counted(runs.without_serial, "run") + " without a serial number", "which phone it was is not known"});
  }
  return out;
}

int tell(const grr::Findings& findings, const CommonOptions& options, const GrrArguments& a) {
  // The page first: that it cannot be written is not told below all figures.
  const std::string title = "Study of " + (a.file.empty() ? "runs" : std::filesystem::path(a.file).filename().string());
  const bool page = a.html.empty() || record::delivered("--html ", [&] { write_page(findings, title, a.html); });
  print_result(options.json, "grr/1", to_json(findings),
               to_text(findings, a.full) + (findings.studies.empty() ? "no study\n" : ""));
  return record::exit_code(findings.good() ? record::Outcome::passed : record::Outcome::failed, page);
}

// A level that is not asked for by name is one that was measured.
void complete(std::vector<std::string>* levels, const std::vector<grr::Reading>& done,
              std::string grr::Reading::*level) {
  if (!levels->empty()) return;
  std::set<std::string> found;
  for (const grr::Reading& reading : done) found.insert(reading.*level);
  levels->assign(found.begin(), found.end());
}

int tell_next(const CommonOptions& options, const GrrArguments& a) {
  grr::By by = by_of(a.by, {});
  std::vector<grr::Reading> done;
  if (!a.file.empty()) {
    const grr::Readings readings = grr::read_csv(a.file);
    by = by_of(a.by, readings.by);
    done = readings.readings;
  } else {
    store::Filter filter = a.runs.of(options.profile);
    done = guarded([&] {
      const auto database = opened_store(a.uri);
      require_known(database.get(), &filter);
      return grr::stored_turns(database.get(), filter);
    });
  }
  grr::Design design = a.design;
  complete(&design.phones, done, &grr::Reading::phone);
  if (by.stations) complete(&design.stations, done, &grr::Reading::station);
  if (by.operators) complete(&design.operators, done, &grr::Reading::operator_name);
  if (design.phones.empty()) throw AppError(kUsage, "grr next: nothing was measured yet: name phones by --serial");
  const grr::Turn turn = next_turn(design, done);
  print_result(options.json, "grr-next/1", to_json(turn), to_text(turn));
  return kPassed;
}

// Where the readings come from, and how they are told apart.
void add_source(ArgumentParser parser, GrrArguments* arguments, std::string* file) {
  GrrArguments& a = *arguments;
  parser.add_option("FILE", *file, "readings as comma-separated values: phone, station or operator, trial, value");
  parser.add_option("--store", a.uri, "runs of a store instead of a file", {.envname = "SENSORCAL_STORE"});
  parser.add_option("--by", a.by, "what phones are measured by (default: as the file's columns say; runs by stations)",
                    {.one_of = {"stations", "operators", "both"}});
  a.runs.add_options(parser);
  a.runs.add_measurement(parser);
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
  if (made && !a.by.empty() && a.by != "stations")
    throw AppError(kUsage, "grr: --by " + a.by + ": runs that are made have no operators");
  if (a.runs.any() && (made || !a.file.empty()))
    throw AppError(kUsage, "grr: --since, --until, --station, --plan and the like choose stored runs only");
}

int run_grr(const CommonOptions& options, const GrrArguments& a) {
  require_consistent(options, a, false);
  if ((options.given & Uses::seed) != 0) throw AppError(kUsage, "grr: --seed goes with --run");
  if (a.file.empty() && a.uri.empty()) throw AppError(kUsage, "grr: wanted: a file or --store");
  if (!a.html.empty()) require_output("--html", a.html, "<!DOCTYPE html>");
  if (a.next) return tell_next(options, a);
  if (!a.file.empty()) return tell(from_file(a), options, a);
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
  add_source(parser, &a, &a.file);
  parser.add_option("--low", a.low, "the value's lower limit, with a file");
  parser.add_option("--high", a.high, "the value's upper limit, with a file");
  parser.add_option("--unit", a.unit, "the value's unit, with a file");
  parser.add_option("--alpha", a.alpha, "an interaction whose p is above this counts as repeatability",
                    {.shows_default = true, .low = 0, .high = 1});
  parser.add_flag("--full", a.full, "the whole analysis of each measurement");
  parser.add_option("--html", a.html, "writes the page with charts to a file");
  const auto is_next = [&a, parser] {
    a.next = true;
    for (const std::string& before : parser.named())
      if (before != "FILE") throw AppError(kUsage, "grr next: " + before + ": an option of next stands behind it");
    if (!a.file.empty() && !a.next_file.empty())
      throw AppError(kUsage, "grr next: " + a.file + " beside " + a.next_file + ": readings are in one file");
    if (a.file.empty()) a.file = a.next_file;
  };
  ArgumentParser next = parser.add_subcommand("next", "which phone to measure next, where and by whom", is_next, false);
  add_source(next, &a, &a.next_file);
  next.add_option("--serial", a.design.phones, "a phone of the study (default: all that were measured)",
                  {.repeated = true});
  next.add_option("--at", a.design.stations, "a station of the study, likewise", {.repeated = true});
  next.add_option("--who", a.design.operators, "an operator of the study, likewise", {.repeated = true});
  next.add_option("--trials", a.design.trials, "how often each phone is measured everywhere",
                  {.shows_default = true, .low = 1, .high = 1000});
}

StationRunner set_up_grr(ArgumentParser parser) {
  auto arguments = std::make_shared<GrrArguments>();
  add_grr_options(parser, arguments.get());
  return [arguments](const CommonOptions& options) { return run_grr(options, *arguments); };
}

}  // namespace factory
