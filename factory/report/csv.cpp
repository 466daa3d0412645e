// Comma-separated values as RFC 4180 has them: quoted where needed, lines end with CR LF.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "files/app_error.h"
#include "files/time_text.h"
#include "files/whole_file.h"
#include "report/report.h"
#include "report/words.h"

namespace factory {
namespace {

// A text that a spreadsheet would take for a formula is led by an apostrophe. Numbers stay as they are.
std::string inert(const std::string& text) {
  if (text.empty() || std::string("=+-@\t\r").find(text.front()) == std::string::npos) return text;
  char* end = nullptr;
  (void)std::strtod(text.c_str(), &end);
  return *end == '\0' ? text : "'" + text;
}

std::string field(const std::string& given) {
  const std::string text = inert(given);
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string out = "\"";
  for (const char c : text) out += c == '"' ? "\"\"" : std::string(1, c);
  return out + "\"";
}

std::string line(const std::vector<std::string>& cells) {
  std::string out;
  for (const std::string& cell : cells) out += (&cell == &cells[0] ? "" : ",") + field(cell);
  return out + "\r\n";
}

// Letters, digits, '-' and '_': a file name on every system, whatever the plan calls its step.
std::string name_part(const std::string& text) {
  constexpr size_t kMax = 60;
  std::string out;
  for (const char c : text) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    if (plain) {
      out += c;
    } else if (!out.empty() && out.back() != '-') {
      out += '-';
    }
  }
  out.resize(std::min(out.size(), kMax));
  while (!out.empty() && out.back() == '-') out.pop_back();
  return out;
}

std::string samples_file(const record::Step& step, const record::Attempt& attempt) {
  const std::string name = name_part(step_name(step));
  std::string index = std::to_string(step.index);
  if (index.size() == 1) index.insert(0, "0");  // so that the files sort as the steps ran
  return index + (name.empty() ? "" : "-" + name) + "-attempt-" + std::to_string(attempt.number) + ".csv";
}

// Each row of each file is complete in itself: the files of many phones can be joined.
const std::vector<std::string> kRunColumns = {"run", "serial", "plan", "station", "operator", "started", "run_verdict"};

std::vector<std::string> run_cells(const record::Run& run) {
  return {run.id,
          run.serial,
          run.plan.name,
          run.station,
          run.operator_name,
          iso_time(run.started),
          outcome_name(run.outcome)};
}

std::vector<std::string> operator+(std::vector<std::string> first, const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

std::string samples(const record::Run& run, const record::Window& window) {
  std::vector<std::string> columns = kRunColumns + std::vector<std::string>{"event", "state"};
  for (const std::string& axis : window.axes)
    columns.push_back(axis + (window.unit.empty() ? "" : " [" + window.unit + "]"));
  std::string out = line(columns);
  for (const record::Sample& sample : window.samples) {
    auto cells = run_cells(run) + std::vector<std::string>{std::to_string(sample.event), state_name(sample.state)};
    for (const double value : sample.values) cells.push_back(number_in_full(value));
    cells.resize(std::max(cells.size(), columns.size()));
    out += line(cells);
  }
  return out;
}

std::string number_or_nothing(std::optional<double> value) { return value ? number_in_full(*value) : ""; }

std::string measurement_rows(const record::Run& run, const record::Step& step, const record::Attempt& attempt) {
  std::string out;
  for (const record::Measurement& m : attempt.measurements) {
    out += line(run_cells(run) + std::vector<std::string>{
                                     std::to_string(step.index), step.group, step.name, step.kind, step.tag,
                                     step.param ? std::to_string(*step.param) : "", std::to_string(attempt.number),
                                     m.name, m.axis, number_in_full(m.value), number_or_nothing(m.standard_error),
                                     m.unit, number_or_nothing(m.low), number_or_nothing(m.high),
                                     outcome_name(m.outcome), has_samples(attempt) ? samples_file(step, attempt) : ""});
  }
  return out;
}

}  // namespace

void require_no_csv(const std::string& folder) {
  if (!std::filesystem::exists(std::filesystem::path(folder) / "measurements.csv")) return;
  throw AppError(
      kUsage, "--csv " + folder + ": holds a run already; name another folder, with {serial}-{started} for each run");
}

void write_csv(const record::Run& run, const std::string& folder) {
  const std::filesystem::path root(folder);
  const std::string table = csv_header() + csv_rows(run);
  if (read_file(root / "measurements.csv") == table) return;  // it comes last: a try before this one wrote all
  require_no_csv(folder);
  std::error_code problem;
  std::filesystem::create_directories(folder, problem);
  if (problem) throw AppError(kUsage, folder + ": cannot be made: " + problem.message());
  for (const record::Step& step : run.steps) {
    for (const record::Attempt& attempt : step.attempts) {
      if (has_samples(attempt)) replace_file(root / samples_file(step, attempt), samples(run, *attempt.window));
    }
  }
  replace_file(root / "measurements.csv", table);
}

std::string csv_header() {
  return line(kRunColumns + std::vector<std::string>{"step", "group", "name", "kind", "tag", "param", "attempt",
                                                     "measurement", "axis", "value", "standard_error", "unit", "low",
                                                     "high", "verdict", "samples"});
}

std::string csv_rows(const record::Run& run) {
  std::string out;
  for (const record::Step& step : run.steps) {
    for (const record::Attempt& attempt : step.attempts) out += measurement_rows(run, step, attempt);
  }
  return out;
}

}  // namespace factory
