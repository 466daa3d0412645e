#include "record/run_text.h"

#include <algorithm>
#include <cmath>

#include "cli/terminal.h"
#include "files/numbers.h"
#include "files/words.h"

namespace factory::record {
namespace {

struct Look {
  std::string (*paint)(const std::string&);
  const char* headline;
};

const Look& look_of(Outcome outcome) {
  static constexpr Look kLooks[kOutcomes] = {{good, "PASSED"},   {bold, "MARGINAL"}, {bad, "FAILED"},
                                             {faint, "SKIPPED"}, {bad, "ABORTED"},   {alert, "ERROR"}};
  return kLooks[static_cast<int>(outcome)];
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
  return (found->axis.empty() ? "" : found->axis + " ") + found->name + " " + plain(found->value) +
         (found->high || found->low ? " of " + plain(limit) : "") + (found->unit.empty() ? "" : " " + found->unit);
}

size_t lines_of(const std::string& text) { return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

// A step that did not pass: its first reason, or all of them, and what to try.
std::string blame_text(const Step& step, bool whole) {
  const Attempt& last = step.attempts.back();
  const std::string named = "[" + std::to_string(step.index) + "] ";
  if (last.reasons.empty()) return remark(named, step.name + ": " + outcome_name(step.outcome));
  std::string out = remark(named, step.name + ": " + last.reasons.front().text);
  for (size_t i = 1; whole && i < last.reasons.size(); ++i) out += remark("  why: ", last.reasons[i].text);
  return out + (last.hints.empty() ? "" : remark("  try: ", last.hints.front().text));
}

}  // namespace

std::string verdict_text(Outcome outcome) { return look_of(outcome).paint(outcome_name(outcome)); }

std::string headline_text(Outcome outcome) { return look_of(outcome).paint(look_of(outcome).headline); }

std::string restarts_text(const Attempt& attempt) {
  constexpr const char* kWords[] = {"variance", "no variance at all", "bias"};
  std::vector<std::string> out;
  for (size_t i = 0; i < attempt.restarts.size(); ++i) {
    if (attempt.restarts[i] > 0) out.push_back(std::to_string(attempt.restarts[i]) + " for " + kWords[i]);
  }
  return joined(out, ", ");
}

std::string attempt_text(int step, int steps, const std::string& name, const Attempt& attempt) {
  std::string out =
      "[" + std::to_string(step) + "/" + std::to_string(steps) + "] " + verdict_text(attempt.outcome) + "  " + name;
  if (attempt.number > 1) out += ", attempt " + std::to_string(attempt.number);
  out += "  " + fixed(attempt.seconds, 2) + " s\n";
  for (const std::string& reason : attempt.reasons) out += remark(bad("why: "), reason);
  const std::string restarts = restarts_text(attempt);
  if (!attempt.reasons.empty() && !restarts.empty()) out += "  restarts: " + restarts + "\n";
  for (const std::string& hint : attempt.hints) out += remark("try: ", hint);
  for (const std::string& note : attempt.notes) out += remark("note: ", note);
  if (attempt.put_back && !attempt.kept) out += "  the hub's old values were put back\n";
  return out;
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

std::string steps_text(const Run& run) {
  std::vector<std::vector<std::string>> rows = {{"", "step", "verdict", "attempts", "nearest to a limit"}};
  for (const Step& step : run.steps) {
    rows.push_back({std::to_string(step.index), step.name, verdict_text(step.outcome),
                    step.attempts.empty() ? "" : std::to_string(step.attempts.size()),
                    step.attempts.empty() ? "" : nearest(step.attempts.back())});
  }
  return table(rows);
}

std::string closing_text(const Run& run) {
  constexpr size_t kLines = 20;  // of the 24 of a small terminal: the prompt and a blank line stay
  std::vector<const Step*> blamed;
  for (const Step& step : run.steps) {
    if (!passes(step.outcome) && !step.attempts.empty()) blamed.push_back(&step);
  }
  const auto skipped =
      std::count_if(run.steps.begin(), run.steps.end(), [](const Step& step) { return step.attempts.empty(); });
  std::string out = (run.serial.empty() ? "no serial number" : "serial " + run.serial) + ": " +
                    headline_text(run.outcome) + " in " + fixed(run.seconds, 1) + " s\n";
  size_t told = 0;
  for (; told < blamed.size(); ++told) {
    const std::string text = blame_text(*blamed[told], blamed.size() == 1);
    if (lines_of(out) + lines_of(text) > kLines) break;
    out += text;
  }
  const auto more = [](size_t count, const char* what) {
    return count == 0 ? "" : "  " + counted(count, "step") + " " + what + "\n";
  };
  return out + more(blamed.size() - told, "more did not pass") + more(static_cast<size_t>(skipped), "did not run");
}

}  // namespace factory::record
