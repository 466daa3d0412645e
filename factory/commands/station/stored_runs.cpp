#include "commands/station/stored_runs.h"

#include <errno.h>
#include <string.h>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/time_text.h"
#include "quality/stats_view.h"
#include "record/record_json.h"
#include "record/run_text.h"
#include "store/schema.h"

namespace factory {
namespace {

std::string shown(const std::string& text) { return store::shown(text, 200); }

}  // namespace

void add_store(ArgumentParser parser, std::string* uri) {
  parser.add_option("--store", *uri, "the store: a file, sqlite:FILE or postgresql://...",
                    {.required = true, .envname = "SENSORCAL_STORE"});
}

std::unique_ptr<store::Database> opened_store(const std::string& uri) {
  auto database = std::make_unique<store::Database>(store::parse_uri(uri), store::Database::Access::reading);
  require_schema(database.get());
  return database;
}

void ChosenRuns::add_options(ArgumentParser parser) {
  parser.add_option("--since", since, "runs from this time on: YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS], UTC");
  parser.add_option("--until", until, "runs before this time");
  parser.add_option("--station", filter.station, "runs of one station");
  parser.add_option("--operator", filter.operator_name, "runs by one operator");
  parser.add_option("--verdict", verdict, "runs that came to it", {.one_of = {"passed", "failed", "error", "aborted"}});
  parser.add_option("--plan", filter.plan, "runs of the plan of this name");
  parser.add_option("--plan-version", filter.plan_version, "runs of plans of one version");
  parser.add_option("--lot", filter.lot, "phones of one lot");
  parser.add_option("--app-version", filter.version, "runs by one version of sensorcal");
}

void ChosenRuns::add_marks(ArgumentParser parser) {
  const std::string rest =
      ": a pattern of serial numbers, GOLD-*; they are left out of all figures and charted by themselves";
  parser.add_option("--golden", golden, "phones that are known to be good" + rest, {.repeated = true});
  parser.add_option("--known-bad", known_bad, "phones that have to fail, likewise", {.repeated = true});
}

void ChosenRuns::add_measurement(ArgumentParser parser) {
  parser.add_option("--measurement", filter.measurement, "measurements of this name only");
}

store::Filter ChosenRuns::of(const std::string& profile) const {
  store::Filter out = filter;
  if (!since.empty()) out.since_ms = store::parse_time_ms("--since", since);
  if (!until.empty()) out.until_ms = store::parse_time_ms("--until", until);
  if (out.since_ms && out.until_ms && *out.since_ms >= *out.until_ms)
    throw AppError(kUsage, "--until " + until + ": is not after --since " + since);
  for (size_t code = 0; code < std::size(record::kOutcomeNames); ++code) {
    if (verdict == record::kOutcomeNames[code]) out.verdict = static_cast<record::Outcome>(code);
  }
  for (const std::string& pattern : golden) out.marked.push_back({"golden", pattern, {}, {}});
  for (const std::string& pattern : known_bad) out.marked.push_back({"known bad", pattern, {}, {}});
  out.profile = profile;
  return out;
}

record::Run read_record(const std::string& file) {
  const bool piped = file == "-";
  const std::optional<std::string> text = read_file(piped ? "/dev/stdin" : file);
  const std::string name = piped ? "standard input" : file;
  if (!text) throw AppError(kUsage, name + ": " + strerror(errno));
  if (text->empty()) throw AppError(kUsage, name + ": is empty, no record");
  if (is_store(file))
    throw AppError(kUsage,
                   name + ": is a store, no record; `sensorcal show ID --store " + name + "` shows a run of it");
  try {
    return record::read_run(*text);
  } catch (const record::FormatError& error) {
    throw AppError(kUsage, name + ": " + error.what());
  }
}

std::string run_text(const record::Run& run, bool full) {
  const std::string head = iso_time(run.started) + "  " + headline_text(run.outcome) +
                           (run.marginal() ? " marginal" : "") + "  " + shown(run.plan.name) +
                           (run.station.empty() ? "" : "  station " + shown(run.station)) + "  " + shown(run.id);
  const size_t columns = terminal_columns();
  std::string out = (columns == 0 || head.size() <= columns ? head : wrapped(head, columns, "  ")) + "\n";
  for (const record::Step& step : run.steps) {
    if (!full && step.outcome == record::Outcome::passed && step.attempts.size() < 2) continue;
    out += "  " + std::to_string(step.index) + ". " + shown(step.name) + ": " + outcome_name(step.outcome);
    if (step.attempts.size() > 1) out += ", " + std::to_string(step.attempts.size()) + " attempts";
    out += "\n";
    for (const record::Attempt& attempt : step.attempts) {
      for (const record::Text& reason : attempt.reasons) out += "     " + shown(reason) + "\n";
      for (const record::Measurement& m : attempt.measurements) {
        out += "     " + shown(m.name) + (m.axis.empty() ? "" : " " + shown(m.axis)) + " " +
               number_text(json_number(m.value)) + (m.unit.empty() ? "" : " " + shown(m.unit)) + ", " +
               outcome_name(m.outcome) + "\n";
      }
    }
  }
  return out;
}

}  // namespace factory
