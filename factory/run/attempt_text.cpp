#include "run/attempt_text.h"

#include <algorithm>
#include <cmath>

#include "cli/terminal.h"
#include "run/calibration.h"

namespace factory::plan {
namespace {

std::string outcome_text(Outcome outcome) {
  switch (outcome) {
    case Outcome::passed:
      return good("passed");
    case Outcome::marginal:
      return bold("marginal");
    case Outcome::failed:
      return bad("FAILED");
    case Outcome::skipped:
      return faint("skipped");
    case Outcome::aborted:
      return bad("aborted");
    case Outcome::error:
      return alert("ERROR");
  }
  return "";
}

// How much of the way to its nearest limit a value went; 1 is the limit.
double used(const Measurement& m) {
  if (!std::isfinite(m.value)) return 10;
  double out = 0;
  if (m.high && *m.high > 0) out = std::max(out, m.value / *m.high);
  if (m.low && *m.low < 0) out = std::max(out, m.value / *m.low);
  return out;
}

// The measurement that came nearest to a limit.
std::string nearest(const Attempt& attempt) {
  const auto found = std::max_element(attempt.measurements.begin(), attempt.measurements.end(),
                                      [](const Measurement& a, const Measurement& b) { return used(a) < used(b); });
  if (found == attempt.measurements.end() || used(*found) <= 0) return "";
  const double limit = found->high && (!found->low || found->value > 0) ? *found->high : found->low.value_or(0);
  return (found->axis.empty() ? "" : found->axis + " ") + found->name + " " + plain(found->value) + " of " +
         plain(limit) + (found->unit.empty() ? "" : " " + found->unit);
}

std::string what_happened_to_the_values(const Attempt& attempt) {
  if (!attempt.changes_hub || attempt.kept) return "";
  return attempt.put_back ? "  the hub's old values were put back\n" : "";
}

}  // namespace

std::string attempt_text(const StepResult& step, int steps, const Attempt& attempt) {
  std::string out = "[" + std::to_string(step.index) + "/" + std::to_string(steps) + "] " +
                    outcome_text(attempt.outcome) + "  " + step.step->name;
  if (attempt.number > 1) out += ", attempt " + std::to_string(attempt.number);
  out += "  " + fixed(attempt.seconds, 2) + " s\n";
  for (const std::string& reason : attempt.reasons) out += remark(bad("why: "), reason);
  const int restarts = attempt.restarts[0] + attempt.restarts[1] + attempt.restarts[2];
  if (!attempt.reasons.empty() && restarts > 0) {
    out += "  restarts: " + std::to_string(attempt.restarts[0]) + " for variance, " +
           std::to_string(attempt.restarts[2]) + " for bias, " + std::to_string(attempt.restarts[1]) +
           " for no variance at all\n";
  }
  for (const std::string& hint : attempt.hints) out += remark("try: ", hint);
  for (const std::string& note : attempt.notes) out += remark("note: ", note);
  return out + what_happened_to_the_values(attempt);
}

std::string values_text(const Attempt& attempt) {
  constexpr int kDigits = 5;
  std::vector<std::vector<std::string>> rows = {{""}};
  const auto place = [](std::vector<std::string>* line, const std::string& text) {
    const auto found = std::find(line->begin(), line->end(), text);
    if (found != line->end()) return found - line->begin();
    line->push_back(text);
    return static_cast<std::ptrdiff_t>(line->size()) - 1;
  };
  std::vector<std::string> axes = {""};  // beside `rows`
  for (const Measurement& m : attempt.measurements) {
    if (m.axis.empty()) continue;
    const auto row = static_cast<size_t>(place(&axes, m.axis));
    if (row == rows.size()) rows.push_back({"  " + m.axis});
    const std::string unit = m.unit == "factor" || m.unit.empty() ? "" : " [" + m.unit + "]";
    const auto column = static_cast<size_t>(place(&rows[0], m.name + unit));
    rows[row].resize(std::max(rows[row].size(), column + 1));
    rows[row][column] = fixed(m.value, kDigits);
  }
  for (std::vector<std::string>& row : rows) row.resize(rows[0].size());
  return rows.size() > 1 ? table(rows) : "";
}

std::string summary_text(const std::vector<StepResult>& steps, Outcome verdict, double seconds) {
  std::vector<std::vector<std::string>> rows = {{"", "step", "verdict", "attempts", "nearest to a limit"}};
  for (const StepResult& step : steps) {
    rows.push_back({std::to_string(step.index), step.step->name, outcome_text(step.outcome),
                    step.attempts.empty() ? "" : std::to_string(step.attempts.size()),
                    step.attempts.empty() ? "" : nearest(step.attempts.back())});
  }
  return "\n" + table(rows) + "\n" + outcome_text(verdict) + " in " + fixed(seconds, 1) + " s\n";
}

}  // namespace factory::plan
