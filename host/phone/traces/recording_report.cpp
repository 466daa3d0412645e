#include "phone/traces/recording_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace phone {
namespace {

std::string joined(const std::vector<double>& values) {
  std::string text;
  for (const double value : values) text += (text.empty() ? "" : ", ") + number_text(value);
  return "(" + text + ")";
}

Json::Value array(const std::vector<double>& values) {
  Json::Value out(Json::arrayValue);
  for (const double value : values) out.append(value);
  return out;
}

std::string count_of(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string summary(const RecordingReport& report) {
  std::string text = count_of(report.samples, "sample", "samples") + " over " + number_text(report.duration_s) + " s";
  if (report.rate_hz > 0) text += " at " + number_text(report.rate_hz) + " Hz";
  if (report.mean_rate_hz > 0 && std::abs(report.mean_rate_hz / report.rate_hz - 1) > 0.05) {
    text += " (" + number_text(report.mean_rate_hz) + " Hz on average)";
  }
  text += ", columns " + report.columns + ", unit " + report.unit;
  if (!report.time_unit.empty()) text += ", time in " + report.time_unit;
  return text + ", mean " + joined(report.mean) + ", standard deviation " + joined(report.std_dev);
}

std::string skipped_rows(const RecordingReport& report) {
  std::string text =
      count_of(report.rows_skipped, "row", "rows") + " of " + std::to_string(report.rows_read) + " skipped:";
  for (const RecordingReport::SkippedRow& row : report.skipped) {
    text += " line " + std::to_string(row.line) + " (" + row.why + ")";
  }
  return text + (report.rows_skipped > report.skipped.size() ? " ..." : "");
}

}  // namespace

std::string number_text(double value) {
  char text[32];
  snprintf(text, sizeof text, "%.6g", value);
  return text;
}

bool RecordingReport::has_slip(const std::string& code) const {
  return std::any_of(slips.begin(), slips.end(), [&code](const Slip& slip) { return slip.code == code; });
}

std::vector<std::string> RecordingReport::lines() const {
  std::vector<std::string> out = {summary(*this)};
  for (const Slip& slip : slips) out.push_back(slip.text);
  for (const std::string& note : notes) out.push_back(note);
  if (rows_skipped > 0) out.push_back(skipped_rows(*this));
  if (times_back > 0) {
    out.push_back("the time goes back " + count_of(times_back, "time", "times") + ", first at line " +
                  std::to_string(first_back_line));
  }
  if (duplicate_times > 0) out.push_back(count_of(duplicate_times, "duplicate time", "duplicate times"));
  if (gaps > 0) {
    out.push_back(count_of(gaps, "gap", "gaps") + ", the longest of " + number_text(longest_gap_s) + " s after " +
                  number_text(longest_gap_at_s) + " s, before line " + std::to_string(longest_gap_line));
  }
  if (rate_hz > 0 && repeated_values * 10 > samples) {
    out.push_back(count_of(repeated_values, "sample repeats", "samples repeat") + " the values before");
  }
  for (std::string& line : out) line.insert(0, file + ": ");
  return out;
}

Json::Value RecordingReport::json() const {
  Json::Value out;
  out["file"] = file;
  out["columns"] = columns;
  out["unit"] = unit;
  out["time_unit"] = time_unit;
  out["rows_read"] = Json::UInt64(rows_read);
  out["rows_skipped"] = Json::UInt64(rows_skipped);
  out["skipped"] = Json::Value(Json::arrayValue);
  for (const SkippedRow& row : skipped) {
    Json::Value entry;
    entry["line"] = Json::UInt64(row.line);
    entry["why"] = row.why;
    out["skipped"].append(entry);
  }
  out["samples"] = Json::UInt64(samples);
  out["duration_s"] = duration_s;
  out["rate_hz"] = rate_hz;
  out["mean_rate_hz"] = mean_rate_hz;
  out["duplicate_times"] = Json::UInt64(duplicate_times);
  out["times_back"] = Json::UInt64(times_back);
  out["first_back_line"] = Json::UInt64(first_back_line);
  out["gaps"] = Json::UInt64(gaps);
  out["longest_gap_s"] = longest_gap_s;
  out["longest_gap_at_s"] = longest_gap_at_s;
  out["longest_gap_line"] = Json::UInt64(longest_gap_line);
  out["repeated_values"] = Json::UInt64(repeated_values);
  out["mean"] = array(mean);
  out["std_dev"] = array(std_dev);
  out["stillest_at_s"] = stillest_at_s;
  out["stillest_mean"] = array(stillest_mean);
  out["stillest_std_dev"] = array(stillest_std_dev);
  out["notes"] = Json::Value(Json::arrayValue);
  for (const std::string& note : notes) out["notes"].append(note);
  out["slips"] = Json::Value(Json::arrayValue);
  for (const Slip& slip : slips) {
    Json::Value entry;
    entry["code"] = slip.code;
    entry["text"] = slip.text;
    out["slips"].append(entry);
  }
  return out;
}

}  // namespace phone
