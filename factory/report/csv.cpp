// Comma-separated values as RFC 4180 has them: quoted where needed, lines end with CR LF.
#include <errno.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "files/app_error.h"
#include "files/replace_file.h"
#include "report/chart_data.h"
#include "report/record_view.h"
#include "report/report.h"

namespace factory {
namespace {

std::string field(const std::string& text) {
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
  constexpr size_t kMost = 60;
  std::string out;
  for (const char c : text) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    if (plain) {
      out += c;
    } else if (!out.empty() && out.back() != '-') {
      out += '-';
    }
  }
  out.resize(std::min(out.size(), kMost));
  while (!out.empty() && out.back() == '-') out.pop_back();
  return out;
}

std::string samples_file(const Json::Value& step, const Json::Value& attempt) {
  const std::string name = name_part(step_name(step));
  std::string index = text_of(step, "index");
  if (index.size() == 1) index.insert(0, "0");  // so that the files sort as the steps ran
  return name_part(index) + (name.empty() ? "" : "-" + name) + "-attempt-" + name_part(text_of(attempt, "number")) +
         ".csv";
}

std::string samples(const Json::Value& window) {
  const std::string unit = text_of(window, "unit");
  std::vector<std::string> columns = {"event", "state"};
  for (const Json::Value& axis : list(window, "axes"))
    columns.push_back(text_of(axis) + (unit.empty() ? "" : " [" + unit + "]"));
  std::string out = line(columns);
  for (const Json::Value& sample : list(window, "samples")) {
    std::vector<std::string> cells = {text_of(sample, "event"), text_of(sample, "state")};
    for (const Json::Value& value : list(sample, "values")) cells.push_back(text_of(value));
    cells.resize(std::max(cells.size(), columns.size()));
    out += line(cells);
  }
  return out;
}

// One row a measurement, complete in itself: the files of many phones can be joined.
constexpr const char* kRunColumns[] = {"serial", "station", "started"};
constexpr const char* kStepColumns[] = {"index", "group", "name", "kind", "tag", "param"};
constexpr const char* kMeasurementColumns[] = {"name", "axis", "value", "standard_error",
                                               "unit", "low",  "high",  "verdict"};

std::string measurement_rows(const Json::Value& record, const Json::Value& step, const Json::Value& attempt) {
  std::string out;
  for (const Json::Value& measurement : list(attempt, "measurements")) {
    std::vector<std::string> cells;
    for (const char* name : kRunColumns) cells.push_back(text_of(record, name));
    for (const char* name : kStepColumns) cells.push_back(text_of(step, name));
    cells.push_back(text_of(attempt, "number"));
    for (const char* name : kMeasurementColumns) cells.push_back(text_of(measurement, name));
    cells.push_back(has_samples(attempt) ? samples_file(step, attempt) : "");
    out += line(cells);
  }
  return out;
}

}  // namespace

void write_csv(const Json::Value& record, const std::string& folder) {
  std::error_code problem;
  std::filesystem::create_directories(folder, problem);
  if (problem) throw AppError(kUsage, folder + ": cannot be made: " + problem.message());
  const std::filesystem::path root(folder);
  std::string measurements =
      line({"serial", "station", "started", "step", "group", "name", "kind", "tag", "param", "attempt", "measurement",
            "axis", "value", "standard_error", "unit", "low", "high", "verdict", "samples"});
  for (const Json::Value& step : list(record, "steps")) {
    for (const Json::Value& attempt : list(step, "attempts")) {
      measurements += measurement_rows(record, step, attempt);
      if (has_samples(attempt)) replace_file(root / samples_file(step, attempt), samples(attempt["window"]));
    }
  }
  replace_file(root / "measurements.csv", measurements);
}

}  // namespace factory
