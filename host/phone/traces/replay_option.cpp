#include "phone/traces/replay_option.h"

#include <SensorType.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "phone/core/phone.h"

namespace phone {
namespace {

constexpr double kMaxRateHz = 1e6;
constexpr double kMaxSeconds = 1e8;

[[noreturn]] void fail(const ReplayOption& replay, const std::string& what) {
  throw PhoneError("replay \"" + replay.text + "\": " + what);
}

std::optional<double> number(const std::string& text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

// Where ",key=" begins at or after `from`; npos if nowhere.
size_t next_option(const std::string& text, size_t from) {
  for (size_t comma = text.find(',', from); comma != std::string::npos; comma = text.find(',', comma + 1)) {
    size_t end = comma + 1;
    while (text[end] >= 'a' && text[end] <= 'z') ++end;  // at the end stands a 0
    if (end > comma + 1 && text[end] == '=') return comma;
  }
  return std::string::npos;
}

int type_of(const ReplayOption& replay) {
  for (const sensor_type::TagRow& row : sensor_type::kTags) {
    if (replay.tag == row.tag) return row.type;
  }
  int type = 0;
  const char* const end = replay.tag.data() + replay.tag.size();
  const auto result = std::from_chars(replay.tag.data(), end, type);
  if (result.ec != std::errc() || result.ptr != end) fail(replay, "'" + replay.tag + "' is no sensor's tag");
  return type;
}

bool is_column(const std::string& name) {
  if (name == "_" || name == "t" || name == "x" || name == "y" || name == "z" || name == "v") return true;
  return name.size() == 2 && name[0] == 'c' && name[1] >= '1' && name[1] < '1' + kMaxChannels;
}

// Whether the named columns are what the sensor's events carry.
bool suit(const std::vector<std::string>& columns, Layout layout) {
  const auto has = [&columns](const std::string& name) {
    return std::find(columns.begin(), columns.end(), name) != columns.end();
  };
  const bool xyz = has("x") && has("y") && has("z");
  const bool any_axis = has("x") || has("y") || has("z");
  int channels = 0;
  while (has("c" + std::to_string(channels + 1))) ++channels;
  const auto is_channel = [](const std::string& name) { return name[0] == 'c'; };
  const bool contiguous = channels == std::count_if(columns.begin(), columns.end(), is_channel);
  switch (layout) {
    case Layout::axes:
      return xyz && !has("v") && channels == 0 && contiguous;
    case Layout::single:
      return has("v") && !any_axis && channels == 0 && contiguous;
    case Layout::lux_and_channels:
      return (has("v") || channels > 0) && !any_axis && contiguous;
    case Layout::channels:
      return channels > 0 && !has("v") && !any_axis && contiguous;
  }
  return false;
}

const char* wanted(Layout layout) {
  switch (layout) {
    case Layout::axes:
      return "x, y and z";
    case Layout::single:
      return "v";
    case Layout::lux_and_channels:
      return "v, or c1, c2 and so on, or both";
    case Layout::channels:
      return "c1, c2 and so on";
  }
  return "";
}

std::vector<std::string> columns_of(const ReplayOption& replay, const std::string& value) {
  std::vector<std::string> columns;
  for (size_t begin = 0; begin <= value.size();) {
    const size_t end = std::min(value.find(',', begin), value.size());
    const std::string name = value.substr(begin, end - begin);
    if (!is_column(name)) fail(replay, "columns=" + value + ": '" + name + "' is none of t, x, y, z, v, c1 to c8, _");
    if (name != "_" && std::find(columns.begin(), columns.end(), name) != columns.end()) {
      fail(replay, "columns=" + value + ": '" + name + "' stands there twice");
    }
    columns.push_back(name);
    begin = end + 1;
  }
  const ReplayKind& kind = *find_replay_kind(replay.sensor_type);
  if (!suit(columns, kind.layout)) {
    fail(replay, "columns=" + value + ": " + kind.name + " takes " + wanted(kind.layout));
  }
  return columns;
}

Unit unit_of(const ReplayOption& replay, const std::string& value) {
  const ReplayKind& kind = *find_replay_kind(replay.sensor_type);
  if (const auto factor = number(value)) {
    if (*factor == 0) fail(replay, "unit=" + value + " would make every value zero");
    return {"x " + value, Quantity::counts, *factor};
  }
  const auto unit = find_unit(value);
  if (!unit) fail(replay, "unit=" + value + " is neither a known unit nor a factor");
  if (!fits(*unit, kind.measure)) fail(replay, "unit=" + value + " does not fit " + kind.name);
  return *unit;
}

double number_within(const ReplayOption& replay, const std::string& option, double above, double limit,
                     const char* what) {
  const auto value = number(option.substr(option.find('=') + 1));
  if (!value || *value < 0 || *value <= above || *value > limit) fail(replay, option + " is not " + what);
  return *value;
}

void apply(ReplayOption* replay, const std::string& key, const std::string& value) {
  const std::string option = key + "=" + value;
  if (key == "columns") {
    replay->columns = columns_of(*replay, value);
  } else if (key == "time") {
    replay->time_unit = find_time_unit(value);
    if (!replay->time_unit) fail(*replay, option + " is none of ns, us, ms, s");
  } else if (key == "rate") {
    replay->rate_hz = number_within(*replay, option, 0, kMaxRateHz, "a rate above 0 and up to 1000000 Hz");
  } else if (key == "unit") {
    replay->unit = unit_of(*replay, value);
  } else if (key == "sign") {
    if (value != "-" && value != "+") fail(*replay, option + " is neither + nor -");
    replay->negate = value == "-";
  } else if (key == "period") {
    if (value != "own" && value != "requested") fail(*replay, option + " is neither own nor requested");
    replay->own_timing = value == "own";
  } else if (key == "start") {
    replay->start_s = number_within(*replay, option, -1, kMaxSeconds, "a number of seconds from 0 to 1e8");
  } else if (key == "length") {
    replay->length_s = number_within(*replay, option, 0, kMaxSeconds, "a number of seconds above 0 and up to 1e8");
  } else {
    fail(*replay, option + " is unknown: columns, time, rate, unit, sign, period, start and length are known");
  }
}

}  // namespace

ReplayOption parse_replay(const std::string& text) {
  ReplayOption replay;
  replay.text = text;
  const size_t equals = text.find('=');
  if (equals == std::string::npos) fail(replay, "TAG=FILE expected");
  replay.tag = text.substr(0, equals);
  replay.sensor_type = type_of(replay);
  if (!find_replay_kind(replay.sensor_type)) fail(replay, "no recording can stand in for '" + replay.tag + "'");

  size_t comma = next_option(text, equals + 1);
  replay.file = text.substr(equals + 1, comma == std::string::npos ? comma : comma - equals - 1);
  if (replay.file.empty()) fail(replay, "no file is named");
  std::vector<std::string> seen;
  while (comma != std::string::npos) {
    const size_t next = next_option(text, comma + 1);
    const std::string option = text.substr(comma + 1, next == std::string::npos ? next : next - comma - 1);
    const std::string key = option.substr(0, option.find('='));
    if (std::find(seen.begin(), seen.end(), key) != seen.end()) fail(replay, key + "= stands there twice");
    seen.push_back(key);
    apply(&replay, key, option.substr(key.size() + 1));
    comma = next;
  }
  if (replay.rate_hz && replay.time_unit) fail(replay, "rate= and time= exclude each other");
  return replay;
}

}  // namespace phone
