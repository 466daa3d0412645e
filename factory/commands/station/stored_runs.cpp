#include "commands/station/stored_runs.h"

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/time_text.h"
#include "quality/stats_view.h"
#include "record/run_text.h"
#include "store/schema.h"

namespace factory {
namespace {

std::string shown(const std::string& text) { return store::shown(text, 200); }

}  // namespace

std::unique_ptr<store::Database> opened_store(const std::string& uri) {
  auto database = std::make_unique<store::Database>(store::parse_uri(uri), store::Database::Access::existing);
  require_schema(database.get());
  return database;
}

std::string run_text(const record::Run& run, bool full) {
  std::string out = iso_time(run.started) + "  " + headline_text(run.outcome) + (run.marginal() ? " marginal" : "") +
                    "  " + shown(run.plan.name) + "  station " + shown(run.station) + "  " + shown(run.id) + "\n";
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
