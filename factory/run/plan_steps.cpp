#include "run/plan_steps.h"

#include <algorithm>
#include <cmath>

#include "files/app_error.h"
#include "files/words.h"
#include "phone/fixture_settings.h"
#include "phone/verdict.h"
#include "run/calibration.h"
#include "sensors/sensor.h"
#include "sensors/stored_values.h"

namespace factory::plan {
namespace {

constexpr int kAttemptsMax = 20;
constexpr int kSamplesMax = 100000;
constexpr int kElementsMax = 15;
constexpr double kLongestRun = 3600;

using Keys = std::set<std::string>;

// What every step may say of itself.
constexpr const char* kCommon[] = {"name", "repeat", "on_failure"};

Keys with_common(Keys keys) {
  keys.insert(std::begin(kCommon), std::end(kCommon));
  return keys;
}

// Which limits a step can have: the unit of each, empty when it has none of that name.
struct LimitUnits {
  std::optional<std::string> samples;  // residual and noise
  std::optional<std::string> value;    // low and high
  bool restarts = false;
  size_t axes = 1;
};

void check_bound(PlanJson& json, const Json::Value& limits, const std::string& where, const char* key,
                 const std::optional<Bound>& bound) {
  if (!bound) return;
  if (std::all_of(bound->values.begin(), bound->values.end(), [](double v) { return v > 0; })) return;
  json.problem(limits[key], where + "." + key, "must be above 0");
}

Limits read_limits(PlanJson& json, const Json::Value& step, const std::string& step_where, const LimitUnits& units) {
  Limits out;
  if (!step.isMember("limits")) return out;
  const Json::Value& limits = step["limits"];
  const std::string where = step_where + ".limits";
  if (!limits.isObject()) {
    json.problem(limits, where, "give an object of limits");
    return out;
  }
  Keys known = {"seconds", "marginal"};
  if (units.samples) known.insert({"residual", "noise"});
  if (units.value) known.insert({"low", "high"});
  if (units.restarts) known.insert("restarts");
  json.only_keys(limits, where, known);
  if (units.samples) {
    out.residual = json.bound(limits, where, "residual", *units.samples, units.axes, true);
    out.noise = json.bound(limits, where, "noise", *units.samples, units.axes, true);
    check_bound(json, limits, where, "residual", out.residual);
    check_bound(json, limits, where, "noise", out.noise);
  }
  if (units.value) {
    out.low = json.bound(limits, where, "low", *units.value, units.axes, false);
    out.high = json.bound(limits, where, "high", *units.value, units.axes, false);
    for (size_t i = 0; out.low && out.high && i < units.axes; ++i) {
      if (out.low->at(i) < out.high->at(i)) continue;
      json.problem(limits["low"], where + ".low",
                   "the limits are the wrong way round: low " + plain(out.low->at(i)) + " is not below high " +
                       plain(out.high->at(i)) + " " + *units.value);
      break;
    }
  }
  if (units.restarts && limits.isMember("restarts")) out.restarts = json.whole(limits, where, "restarts", 0, 10000, 0);
  out.seconds = json.amount(limits, where, "seconds", "s", 1e-6, kLongestRun);
  out.marginal = json.amount(limits, where, "marginal", "%", 0, 0.9).value_or(0);
  return out;
}

// The type number of a tag; nothing when it is no tag.
std::optional<int> read_tag(PlanJson& json, const Json::Value& step, const std::string& where, const char* key) {
  if (!step[key].isString()) {
    json.problem(step[key], where + "." + key, "give a sensor's tag as a text");
    return std::nullopt;
  }
  try {
    return parse_tag(step[key].asString());
  } catch (const AppError& error) {
    json.problem(step[key], where + "." + key, error.what());
    return std::nullopt;
  }
}

void read_fixture(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  json.only_keys(value, where, with_common({"fixture"}));
  const Json::Value& world = value["fixture"];
  if (!world.isObject() || world.empty()) {
    json.problem(world, where + ".fixture", "give an object of what is to be set");
    return;
  }
  for (const std::string& key : world.getMemberNames()) {
    std::string setting;
    const std::string place = where + ".fixture." + key;
    const std::string wrong = world[key].isString() ? read_setting(key, world[key].asString(), Bare::refused, &setting)
                                                    : "give a text with the value and its unit";
    if (!wrong.empty()) json.problem(world[key], place, wrong);
    step->world.emplace_back(key, setting);
    if (step->name.empty()) step->name = "set";
    if (!value.isMember("name")) step->name += " " + key + "=" + setting;
  }
}

void read_golden(PlanJson& json, const Json::Value& value, const std::string& where, const Sensor* kind, Step* step) {
  if (!value.isMember("golden")) return;
  const size_t values = kind == nullptr ? 1 : static_cast<size_t>(kind->values);
  const std::string place = where + ".golden";
  const Json::Value& golden = value["golden"];
  if (kind == nullptr || kind->result != Result::channel_scale || step->param != 0) {
    return json.problem(golden, place, "only the channel scales of a stream have golden values");
  }
  if (!golden.isArray() || golden.size() < values || golden.size() > 7) {
    return json.problem(golden, place, "give " + std::to_string(values) + " to 7 numbers, one for each channel");
  }
  for (const Json::Value& number : golden) {
    if (!number.isNumeric() || !(number.asDouble() > 0) || !std::isfinite(number.asDouble())) {
      json.problem(number, place, "golden values are numbers above 0, in counts");
    } else {
      step->golden.push_back(number.asDouble());
    }
  }
}

// One light channel to a target, as the library offers it beside the steps that go by number.
void read_channel(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  constexpr double kCountsMax = 1e6;
  step->channel = json.whole(value, where, "channel", 0, kElementsMax, 0);
  step->screen = json.truth(value, where, "screen", false);
  step->target = json.amount(value, where, "target", "counts", 0, kCountsMax).value_or(0);
  if (!value.isMember("target"))
    json.problem(value["channel"], where + ".target", "a channel needs a target in counts");
  if (!value.isMember("name")) step->name += " channel " + std::to_string(*step->channel);
  const std::string problem = channel_problem(step->type, step->screen);
  if (!problem.empty()) json.problem(value["calibrate"], where + ".calibrate", problem);
  for (const char* key : {"param", "reference", "golden", "far"}) {
    if (value.isMember(key)) json.problem(value[key], where + "." + key, "does not go with a channel");
  }
  step->limits = read_limits(json, value, where, {});
}

void read_calibrate(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  json.only_keys(
      value, where,
      with_common({"calibrate", "param", "reference", "golden", "channel", "target", "screen", "far", "limits"}));
  step->param = json.whole(value, where, "param", -1, 1000, 0);
  const std::optional<int> type = read_tag(json, value, where, "calibrate");
  if (!type) return;
  step->type = *type;
  if (step->name.empty()) step->name = "calibrate " + name_of(*type);
  if (value.isMember("channel")) return read_channel(json, value, where, step);
  for (const char* key : {"target", "screen"}) {
    if (value.isMember(key)) json.problem(value[key], where + "." + key, "goes with a channel only");
  }
  const std::string unknown = step_problem(step->type, step->param);
  if (!unknown.empty()) return json.problem(value["calibrate"], where + ".calibrate", unknown);
  if (!value.isMember("name") && step->param != 0) step->name += ", " + step_name(step->type, step->param);
  step->far = json.truth(value, where, "far", false);
  if (step->far && !sets_thresholds(*step)) {
    json.problem(value["far"], where + ".far", "only the proximity thresholds, step 2 of Prx, are looked at from afar");
  }
  if (value.isMember("reference") && step->type != sensor_type::pressure) {
    json.problem(value["reference"], where + ".reference", "only the barometer has a reference");
  } else {
    step->reference_hpa = json.amount(value, where, "reference", "hPa", 300, 1100);
  }
  const Sensor* kind = find_kind(step->type, step->param);
  read_golden(json, value, where, kind, step);
  LimitUnits units;
  if (kind != nullptr) {
    const bool golden = kind->result == Result::channel_scale && step->param == -1;
    units.axes = golden ? 7 : static_cast<size_t>(kind->values);
    units.restarts = true;
    units.value = found_unit(*kind, golden);
    if (kind->result != Result::proximity && !golden) units.samples = kind->unit;
  }
  step->limits = read_limits(json, value, where, units);
}

void read_expected(PlanJson& json, const Json::Value& value, const std::string& where, const Quantity& subject,
                   Step* step) {
  const std::optional<Bound> expected = json.bound(value, where, "expect", subject.unit, subject.axes.size(), false);
  if (!expected) return;
  for (size_t i = 0; i < subject.axes.size(); ++i) step->expected.push_back(expected->at(i));
}

void read_verify(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  const std::optional<int> type = read_tag(json, value, where, "verify");
  if (type) step->type = *type;
  if (type && step->name.empty()) step->name = "verify " + name_of(*type);
  if (type == sensor_type::proximity) {
    json.only_keys(value, where, with_common({"verify", "expect", "limits"}));
    if (value["expect"] != "near" && value["expect"] != "far") {
      return json.problem(value["verify"], where + ".expect", "give \"near\" or \"far\"");
    }
    step->near = value["expect"] == "near";
    step->limits = read_limits(json, value, where, {});
    return;
  }
  json.only_keys(value, where, with_common({"verify", "samples", "settle", "period", "expect", "limits"}));
  step->samples = json.whole(value, where, "samples", 2, kSamplesMax, 0);
  step->settle = json.whole(value, where, "settle", 0, kSamplesMax, step->settle);
  step->period_s = json.amount(value, where, "period", "s", 0.001, 10);
  if (!type) return;
  const std::optional<Quantity> subject = subject_of(*type);
  if (!subject) return json.problem(value["verify"], where + ".verify", "no verification reads this sensor's events");
  read_expected(json, value, where, *subject, step);
  step->limits = read_limits(json, value, where, {subject->unit, subject->unit, false, subject->axes.size()});
  if (!value["limits"].isObject() || value["limits"].empty()) {
    json.problem(value, where, "a verification needs limits");
  }
}

void read_report_check(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  json.only_keys(value, where, with_common({"check", "positions"}));
  step->report = true;
  if (step->name.empty()) step->name = "check report";
  if (!value.isMember("positions")) return;
  const Json::Value& positions = value["positions"];
  if (!positions.isArray()) return json.problem(positions, where + ".positions", "give a list of sensors");
  const std::vector<std::string> known = report_sensors();
  for (const Json::Value& position : positions) {
    if (position.isString() && std::count(known.begin(), known.end(), position.asString()) != 0) {
      step->positions.push_back(position.asString());
      continue;
    }
    json.problem(position, where + ".positions",
                 "the report has no such position" + or_nearest(position.isString() ? position.asString() : "", known));
  }
}

// The stored value that the step names, which must be one that can be read, or written.
const StoredValue* read_stored(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  const bool writes = step->kind == StepKind::write;
  const auto fits = [&](const StoredValue& row) {
    return row.applies(step->type) && (writes ? row.write != nullptr : row.read != nullptr);
  };
  std::vector<std::string> names;
  for (const StoredValue& row : stored_values()) {
    if (!fits(row)) continue;
    if (step->value == row.name) return &row;
    names.emplace_back(row.name);
  }
  json.problem(value.isMember("value") ? value["value"] : value, where + ".value",
               std::string("no stored value of this sensor that can be ") + (writes ? "written" : "read") +
                   (names.empty() ? "" : or_nearest(step->value, names)));
  return nullptr;
}

void read_check(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  if (value["check"] == "report") return read_report_check(json, value, where, step);
  json.only_keys(value, where, with_common({"check", "value", "count", "limits"}));
  step->count = json.whole(value, where, "count", 1, kElementsMax, 5);
  step->value = json.text(value, where, "value", "");
  const std::optional<int> type = read_tag(json, value, where, "check");
  if (!type) return;
  if (step->name.empty()) step->name = "check " + name_of(*type) + " " + step->value;
  step->type = *type;
  const StoredValue* stored = read_stored(json, value, where, step);
  if (stored == nullptr) return;
  if (stored->count != 0) step->count = stored->count;
  LimitUnits units;
  units.value = stored->unit(*type);
  units.axes = static_cast<size_t>(step->count);
  step->limits = read_limits(json, value, where, units);
  if (!step->limits.low && !step->limits.high) json.problem(value, where, "a check needs a limit: low, high, or both");
}

void read_write(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  json.only_keys(value, where, with_common({"write", "value", "to"}));
  step->value = json.text(value, where, "value", "");
  const std::optional<int> type = read_tag(json, value, where, "write");
  if (!type) return;
  if (step->name.empty()) step->name = "write " + name_of(*type) + " " + step->value;
  step->type = *type;
  const StoredValue* stored = read_stored(json, value, where, step);
  if (stored == nullptr) return;
  const Json::Value& to = value["to"];
  step->count = stored->count != 0 ? stored->count : to.isArray() ? static_cast<int>(to.size()) : 1;
  if (!value.isMember("to")) return json.problem(value, where + ".to", "give the values to write");
  if (step->count < 1 || step->count > kElementsMax) {
    return json.problem(to, where + ".to", "give 1 to " + std::to_string(kElementsMax) + " values");
  }
  const std::optional<Bound> numbers =
      json.bound(value, where, "to", stored->unit(*type), static_cast<size_t>(step->count), false);
  for (size_t i = 0; numbers && i < static_cast<size_t>(step->count); ++i) {
    const double number = numbers->at(i);
    if (!std::isfinite(static_cast<float>(number)) ||
        (stored->whole_numbers && (std::trunc(number) != number || std::fabs(number) > INT32_MAX))) {
      json.problem(to, where + ".to",
                   plain(number) + " is no " + (stored->whole_numbers ? "whole " : "") + "number of 32 bits");
    }
    step->numbers.push_back(number);
  }
}

void read_probe(PlanJson& json, const Json::Value& value, const std::string& where, Step* step) {
  json.only_keys(value, where, with_common({"probe", "expect"}));
  step->probe = json.text(value, where, "probe", "");
  if (step->name.empty()) step->name = "probe " + step->probe;
  const std::vector<std::string> known = {"rgb", "ps_tof", "tof", "pshwcali"};
  if (std::count(known.begin(), known.end(), step->probe) == 0) {
    json.problem(value["probe"], where + ".probe", "unknown probe" + or_nearest(step->probe, known));
  }
  constexpr int kNoSensor = -3;
  const Json::Value& expect = value["expect"];
  if (expect.isBool()) {
    step->answer = expect.asBool() ? 1 : 0;
  } else if (expect == "no sensor") {
    step->answer = kNoSensor;
  } else {
    json.problem(value.isMember("expect") ? expect : value["probe"], where + ".expect",
                 "give true, false or \"no sensor\"");
  }
}

struct KindRow {
  StepKind kind;
  void (*read)(PlanJson& json, const Json::Value& value, const std::string& where, Step* step);
};
constexpr KindRow kKinds[] = {
    {StepKind::fixture, read_fixture}, {StepKind::calibrate, read_calibrate}, {StepKind::verify, read_verify},
    {StepKind::check, read_check},     {StepKind::probe, read_probe},         {StepKind::write, read_write},
};

}  // namespace

Step read_step(PlanJson& json, const Json::Value& value, const std::string& where) {
  Step step;
  if (!value.isObject()) {
    json.problem(value, where, "a step is a JSON object");
    return step;
  }
  step.name = json.text(value, where, "name", "");
  step.repeat = json.whole(value, where, "repeat", 1, kAttemptsMax, 1);
  step.stop_on_failure = json.stops(value, where);
  const KindRow* found = nullptr;
  for (const KindRow& row : kKinds) {
    if (!value.isMember(kind_name(row.kind))) continue;
    if (found != nullptr) {
      json.problem(value, where, std::string("is both ") + kind_name(found->kind) + " and " + kind_name(row.kind));
      return step;
    }
    found = &row;
  }
  if (found == nullptr) {
    json.problem(value, where, "is no step: give one of group, fixture, calibrate, verify, check, probe, write");
    return step;
  }
  step.kind = found->kind;
  found->read(json, value, where, &step);
  return step;
}

}  // namespace factory::plan
