#include "phone/traces/recording.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>

#include "phone/core/phone.h"
#include "phone/traces/column_plan.h"
#include "phone/traces/recording_check.h"

namespace phone {
namespace {

constexpr size_t kReportedRows = 5;
constexpr int64_t kLongestNs = 1'000'000'000'000'000'000;  // differences of two times still fit 64 bits
constexpr double kNsPerS = 1e9;

// One good row before its time is known in nanoseconds.
struct Row {
  size_t line = 0;  // from 1
  TimeStamp stamp;  // or, without a time column, the row's number
  RecordedSample sample;
};

class RowReader {
 public:
  RowReader(const TextTable& table, const ColumnPlan& plan, const ReplayOption& replay, RecordingReport* report)
      : table_(table), plan_(plan), report_(*report), factor_(plan.unit.factor * (replay.negate ? -1 : 1)) {}

  std::vector<Row> read() {
    std::vector<Row> rows;
    for (size_t i = plan_.first_line; i < table_.lines().size(); ++i) {
      const std::string_view line = table_.lines()[i];
      if (is_blank(line) || is_comment(line)) continue;
      table_.split(line, &cells_);
      if (plan_.kind_column >= 0 && cell(plan_.kind_column) != plan_.kind) continue;
      Row row;
      row.line = i + 1;
      const std::string fault = read_row(&row);
      ++report_.rows_read;
      if (fault.empty()) {
        rows.push_back(row);
      } else if (plan_.headerless && rows.empty()) {
        preamble_fault_ = fault;
        --report_.rows_read;
        ++preamble_;
      } else {
        skip(row.line, fault);
      }
    }
    finish(rows.empty());
    return rows;
  }

 private:
  std::string cell(int column) const {
    return static_cast<size_t>(column) < cells_.size() ? cells_[static_cast<size_t>(column)] : "";
  }

  // Fills the row; says what is wrong where something is.
  std::string read_row(Row* row) {
    const auto fault_text = [this](int column, CellFault fault) {
      const std::string text = cell(column);
      const std::string name = text.empty() ? "cell " + std::to_string(column + 1) : "'" + text.substr(0, 40) + "'";
      return name + " " + describe(fault);
    };
    if (plan_.time == ColumnPlan::Time::none) {
      row->stamp = {static_cast<int64_t>(report_.rows_read), 0, false};
    } else {
      const CellFault fault = read_time(cell(plan_.time_column), table_.decimal_comma(), &row->stamp);
      if (fault != CellFault::none) return fault_text(plan_.time_column, fault);
    }
    for (size_t i = 0; i < static_cast<size_t>(plan_.axes); ++i) {
      if (plan_.values[i] < 0) continue;
      double value = 0;
      CellFault fault = read_value(cell(plan_.values[i]), table_.decimal_comma(), &value);
      value *= factor_;
      if (fault == CellFault::none && std::abs(value) > std::numeric_limits<float>::max()) {
        fault = CellFault::out_of_range;
      }
      if (fault != CellFault::none) return fault_text(plan_.values[i], fault);
      row->sample.v[i] = static_cast<float>(value);
    }
    return "";
  }

  void skip(size_t line, const std::string& why) {
    ++report_.rows_skipped;
    if (report_.skipped.size() < kReportedRows) report_.skipped.push_back({line, why});
  }

  void finish(bool nothing) {
    if (nothing && preamble_ > 0) {
      throw PhoneError(report_.file + ": no row fits the columns " + plan_.description + " (last: " + preamble_fault_ +
                       ")");
    }
    if (preamble_ > 0)
      report_.notes.push_back(std::to_string(preamble_) + (preamble_ == 1 ? " line" : " lines") + " before the data");
  }

  const TextTable& table_;
  const ColumnPlan& plan_;
  RecordingReport& report_;
  const double factor_;
  std::vector<std::string> cells_;
  size_t preamble_ = 0;
  std::string preamble_fault_;
};

// The unit in which a clock shows a time between 2001 and 2100.
std::optional<TimeUnit> unit_of_epoch(double value) {
  for (const TimeUnit unit : {TimeUnit::s, TimeUnit::ms, TimeUnit::us, TimeUnit::ns}) {
    const double seconds = value * std::pow(10.0, nanosecond_exponent(unit) - 9);
    if (seconds > 0.98e9 && seconds < 4.1e9) return unit;
  }
  return std::nullopt;
}

double median_step(const std::vector<Row>& rows) {
  std::vector<double> steps;
  for (size_t i = 1; i < rows.size(); ++i) {
    const double step = rows[i].stamp.value() - rows[i - 1].stamp.value();
    if (step > 0 && std::isfinite(step)) steps.push_back(step);
  }
  if (steps.empty()) return 0;
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
  std::nth_element(steps.begin(), middle, steps.end());
  return *middle;
}

// Sensors that stream run at 2 Hz to 2 kHz, which only one of the units can mean.
std::optional<TimeUnit> unit_of_step(double step) {
  for (const TimeUnit unit : {TimeUnit::s, TimeUnit::ms, TimeUnit::us, TimeUnit::ns}) {
    const double seconds = step * std::pow(10.0, nanosecond_exponent(unit) - 9);
    if (seconds > 1 / 2000.0 && seconds <= 1 / 2.0) return unit;
  }
  return std::nullopt;
}

TimeUnit assume_time_unit(const std::vector<Row>& rows, const ReplayKind& kind, RecordingReport* report) {
  std::string why = "the times are since 1970";
  std::optional<TimeUnit> unit = unit_of_epoch(rows.front().stamp.value());
  if (!unit && !kind.on_change) {
    const double step = median_step(rows);
    unit = unit_of_step(step);
    if (unit) {
      const double rate = 1 / (step * std::pow(10.0, nanosecond_exponent(*unit) - 9));
      why = "the rate is then " + number_text(rate) + " Hz";
    }
  }
  if (!unit) throw PhoneError(report->file + ": the unit of its times is not known: give time=ns, us, ms or s");
  report->notes.push_back(std::string("time unit not told: taken as ") + name_of(*unit) + ", " + why);
  return *unit;
}

std::optional<int64_t> evenly_spaced(const TimeStamp& first, const TimeStamp& stamp, double rate_hz) {
  const double ns = std::round((stamp.value() - first.value()) / rate_hz * kNsPerS);
  if (!(std::abs(ns) <= static_cast<double>(kLongestNs))) return std::nullopt;
  return static_cast<int64_t>(ns);
}

// Times in nanoseconds from the first row; rows whose time is beyond any range are skipped.
void resolve_times(const ReplayOption& replay, const ColumnPlan& plan, std::vector<Row>* rows,
                   RecordingReport* report) {
  const bool counts = plan.time != ColumnPlan::Time::column;
  TimeUnit unit = TimeUnit::ns;
  if (!counts && rows->front().stamp.is_date) {
    report->time_unit = "date";
  } else if (!counts) {
    unit = plan.time_unit ? *plan.time_unit : assume_time_unit(*rows, *find_replay_kind(replay.sensor_type), report);
    report->time_unit = name_of(unit);
  }
  const bool dates = rows->front().stamp.is_date;
  std::optional<TimeStamp> first_stamp;
  std::optional<int64_t> first_ns;
  const auto out_of_range = [&](Row& row) {
    if (row.stamp.is_date != dates) return true;
    if (counts) {
      if (!first_stamp) first_stamp = row.stamp;
      const auto ns = evenly_spaced(*first_stamp, row.stamp, *replay.rate_hz);
      row.sample.time_ns = ns.value_or(0);
      return !ns;
    }
    const auto ns = row.stamp.nanoseconds(unit);
    if (ns && !first_ns) first_ns = ns;
    return !ns || __builtin_sub_overflow(*ns, *first_ns, &row.sample.time_ns) || row.sample.time_ns > kLongestNs ||
           row.sample.time_ns < -kLongestNs;
  };
  size_t kept = 0;
  for (Row& row : *rows) {
    if (!out_of_range(row)) {
      (*rows)[kept++] = row;
      continue;
    }
    ++report->rows_skipped;
    if (report->skipped.size() < kReportedRows)
      report->skipped.push_back({row.line, "its time does not fit the others"});
  }
  rows->resize(kept);
}

// Keeps the part that was asked for, its times from its own first sample on.
void cut(const ReplayOption& replay, std::vector<Row>* rows) {
  const double end_s = replay.length_s ? replay.start_s + *replay.length_s : std::numeric_limits<double>::infinity();
  const auto outside = [&](const Row& row) {
    const double time_s = static_cast<double>(row.sample.time_ns) / kNsPerS;
    return time_s < replay.start_s || time_s >= end_s;
  };
  if (replay.start_s > 0 || replay.length_s)
    rows->erase(std::remove_if(rows->begin(), rows->end(), outside), rows->end());
  if (rows->empty()) return;
  const int64_t first_ns = rows->front().sample.time_ns;
  for (Row& row : *rows) row.sample.time_ns -= first_ns;
}

// Serial logs of proximity chips spread a record over many lines and give the counts as "PDATA:n". Leaves a text with
// the counts alone, each on its line; or the text as it is where it is no such log.
bool take_labelled_counts(std::string* text) {
  constexpr std::string_view kLabel = "PDATA:";
  std::string counts;
  size_t found = 0;
  for (size_t begin = 0; begin < text->size();) {
    const size_t end = std::min(text->find('\n', begin), text->size());
    const std::string_view line(text->data() + begin, end - begin);
    const size_t label = line.find(kLabel);
    if (label != std::string_view::npos) {
      const std::string_view rest = line.substr(label + kLabel.size());
      counts += rest.substr(0, rest.find_first_not_of("0123456789"));
      ++found;
    }
    counts += '\n';
    begin = end + 1;
  }
  if (found > 1) *text = counts;
  return found > 1;
}

std::string last_part(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

Recording load_recording(std::istream& in, const ReplayOption& told) {
  ReplayOption replay = told;
  const ReplayKind* const kind = find_replay_kind(replay.sensor_type);
  if (!kind) throw PhoneError("no recording can stand in for sensor type " + std::to_string(replay.sensor_type));
  Recording recording;
  recording.sensor_type = replay.sensor_type;
  recording.first_word = kind->layout == Layout::channels ? 2 : 0;
  RecordingReport& report = recording.report;
  report.file = last_part(replay.file);

  std::string text(std::istreambuf_iterator<char>(in), {});
  if (text.empty()) throw PhoneError(replay.file + ": the file is empty");
  if (kind->measure == Quantity::proximity && replay.columns.empty() && take_labelled_counts(&text))
    replay.columns = {"v"};
  const TextTable table(replay.file, std::move(text));
  const ColumnPlan plan = plan_columns(table, replay);
  recording.axes = plan.axes;
  report.columns = plan.description;
  report.unit = plan.unit.name;
  report.notes = plan.notes;

  std::vector<Row> rows = RowReader(table, plan, replay, &report).read();
  if (!rows.empty()) resolve_times(replay, plan, &rows, &report);
  if (rows.empty()) {
    std::string what = replay.file + ": no row can be used";
    if (!report.skipped.empty()) {
      what += ", line " + std::to_string(report.skipped.front().line) + ": " + report.skipped.front().why;
    }
    throw PhoneError(what);
  }
  cut(replay, &rows);
  if (rows.empty()) throw PhoneError(replay.file + ": nothing lies within start= and length=");

  std::vector<size_t> lines;
  recording.samples.reserve(rows.size());
  for (const Row& row : rows) {
    recording.samples.push_back(row.sample);
    lines.push_back(row.line);
  }
  check_timing(*kind, lines, &recording);
  check_values(*kind, plan, replay, &recording);
  return recording;
}

Recording load_recording(const ReplayOption& replay) {
  std::ifstream in(replay.file, std::ios::binary);
  (void)in.peek();  // a folder can be opened
  if (!in.is_open() || in.bad()) {
    throw PhoneError("replay \"" + replay.text + "\": cannot read " + replay.file);
  }
  return load_recording(in, replay);
}

}  // namespace phone
