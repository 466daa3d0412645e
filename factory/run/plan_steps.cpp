// What each kind of step takes.
#include <algorithm>
#include <cmath>

#include "files/app_error.h"
#include "files/numbers.h"
#include "files/words.h"
#include "phone/fixture_settings.h"
#include "phone/verdict.h"
#include "run/plan_json.h"
#include "sensors/sensor.h"
#include "sensors/stored_values.h"

namespace factory::plan {
namespace {

constexpr int kSamplesMax = 100000;
constexpr int kElementsMax = 15;
constexpr double kLongestRun = 3600;

using Keys = std::set<std::string>;

void only_step_keys(const PlacedJson& value, Keys keys) {
  keys.insert({"name", "repeat", "on_failure"});  // what every step may say of itself
  value.only_keys(keys);
}

// Which limits a step can have: the unit of each, empty when it has none of that name.
struct LimitUnits {
  std::optional<std::string> samples;  // residual and noise
  std::optional<std::string> value;    // low and high
  bool restarts = false;
  size_t axes = 1;
};

std::optional<Bound> read_spread(const PlacedJson& value, const std::string& unit, size_t axes) {
  const std::optional<Bound> out = bound(value, unit, axes, true);
  if (out && !std::all_of(out->values.begin(), out->values.end(), [](double v) { return v > 0; }))
    value.problem("must be above 0");
  return out;
}

Limits read_limits(const PlacedJson& step, const LimitUnits& units) {
  Limits out;
  if (!step.has("limits")) return out;
  const PlacedJson limits = step["limits"];
  if (!limits->isObject()) {
    limits.problem("give an object of limits");
    return out;
  }
  Keys known = {"seconds", "marginal"};
  if (units.samples) known.insert({"residual", "noise"});
  if (units.value) known.insert({"low", "high"});
  if (units.restarts) known.insert("restarts");
  limits.only_keys(known);
  if (units.samples) {
    out.residual = read_spread(limits["residual"], *units.samples, units.axes);
    out.noise = read_spread(limits["noise"], *units.samples, units.axes);
  }
  if (units.value) {
    out.low = bound(limits["low"], *units.value, units.axes, false);
    out.high = bound(limits["high"], *units.value, units.axes, false);
    for (size_t i = 0; out.low && out.high && i < units.axes; ++i) {
      if (out.low->at(i) < out.high->at(i)) continue;
      limits["low"].problem("the limits are the wrong way round: low " + plain(out.low->at(i)) + " is not below high " +
                            plain(out.high->at(i)) + " " + *units.value);
      break;
    }
  }
  if (units.restarts && limits.has("restarts")) out.restarts = limits["restarts"].whole(0, 10000, 0);
  out.seconds = amount(limits["seconds"], "s", 1e-6, kLongestRun);
  out.marginal = amount(limits["marginal"], "%", 0, 0.9).value_or(0);
  return out;
}

// Reads the type number of a tag. False: it is no tag.
bool read_tag(const PlacedJson& value, Step* step) {
  if (!value->isString()) {
    value.problem("give a sensor's tag as a text");
    return false;
  }
  try {
    step->type = parse_tag(value->asString());
    return true;
  } catch (const AppError& error) {
    value.problem(error.what());
    return false;
  }
}

void read_fixture(const PlacedJson& value, Step* step) {
  only_step_keys(value, {"fixture"});
  const PlacedJson world = value["fixture"];
  if (!world->isObject() || world->empty()) return world.problem("give an object of what is to be set");
  step->name = "set";
  for (const std::string& key : world->getMemberNames()) {
    const PlacedJson given = world[key.c_str()];
    std::string setting;
    const std::string wrong = given->isString() ? read_setting(key, given->asString(), Bare::refused, &setting)
                                                : "give a text with the value and its unit";
    if (!wrong.empty()) given.problem(wrong);
    step->world.emplace_back(key, setting);
    step->name += " " + key + "=" + setting;
  }
}

void read_golden(const PlacedJson& golden, const Sensor* kind, Step* step) {
  if (kind == nullptr || kind->result != Result::channel_scale || step->param != 0)
    return golden.problem("only the channel scales of a stream have golden values");
  const auto values = static_cast<Json::ArrayIndex>(kind->values);
  if (!golden->isArray() || golden->size() < values || golden->size() > 7)
    return golden.problem("give " + std::to_string(values) + " to 7 numbers, one for each channel");
  for (Json::ArrayIndex i = 0; i < golden->size(); ++i) {
    const PlacedJson number = golden[i];
    if (!number->isNumeric() || !(number->asDouble() > 0) || !std::isfinite(number->asDouble())) {
      golden.problem("golden values are numbers above 0, in counts", number);
    } else {
      step->golden.push_back(number->asDouble());
    }
  }
}

// One light channel to a target, as the library offers it beside the steps that go by number.
void read_channel(const PlacedJson& value, Step* step) {
  constexpr double kCountsMax = 1e6;
  step->channel = value["channel"].whole(0, kLastChannel, 0);
  step->screen = value["screen"].truth();
  step->target = amount(value["target"], "counts", 0, kCountsMax).value_or(0);
  if (!value.has("target")) value["target"].problem("a channel needs a target in counts", value["channel"]);
  step->name += " channel " + std::to_string(*step->channel);
  const std::string problem = channel_problem(step->type, step->screen);
  if (!problem.empty()) value["calibrate"].problem(problem);
  for (const char* key : {"param", "reference", "golden", "far", "brightness"}) {
    if (value.has(key)) value[key].problem("does not go with a channel");
  }
  step->limits = read_limits(value, {});
}

void read_calibrate(const PlacedJson& value, Step* step) {
  only_step_keys(value, {"calibrate", "param", "reference", "golden", "channel", "target", "screen", "far",
                         "brightness", "limits"});
  step->param = value["param"].whole(-1, 1000, 0);
  if (!read_tag(value["calibrate"], step)) return;
  step->name = "calibrate " + name_of(step->type);
  if (value.has("channel")) return read_channel(value, step);
  for (const char* key : {"target", "screen"}) {
    if (value.has(key)) value[key].problem("goes with a channel only");
  }
  const std::string unknown = step_problem(step->type, step->param);
  if (!unknown.empty()) return value["calibrate"].problem(unknown);
  constexpr int kSelfTest = 4;
  if (step->param == kSelfTest) {
    step->name = "self-test of " + name_of(step->type);
  } else if (step->param != 0) {
    step->name += ", " + step_name(step->type, step->param);
  }
  step->far = value["far"].truth();
  if (step->far && !sets_thresholds(*step))
    value["far"].problem("only the proximity thresholds, step 2 of Prx, are looked at from afar");
  if (value.has("brightness")) {
    constexpr int kBrightestMax = 8191;  // that can be set
    step->brightness = value["brightness"].whole(1, kBrightestMax, 1);
    if (!is_panel_run(step->param)) value["brightness"].problem("only the steps at the lit panel, 13 and 14, have it");
  }
  if (value.has("reference") && step->type != sensor_type::pressure) {
    value["reference"].problem("only the barometer has a reference");
  } else {
    step->reference_hpa = amount(value["reference"], "hPa", 300, 1100);
  }
  const Sensor* kind = find_kind(step->type, step->param);
  if (value.has("golden")) read_golden(value["golden"], kind, step);
  LimitUnits units;
  if (kind != nullptr) {
    const bool golden = kind->result == Result::channel_scale && step->param == -1;
    units.axes = golden ? 7 : static_cast<size_t>(kind->values);
    units.restarts = true;
    units.value = found_unit(*kind, golden);
    if (kind->result != Result::proximity && !golden) units.samples = kind->unit;
  }
  step->limits = read_limits(value, units);
}

void read_verify(const PlacedJson& value, Step* step) {
  const bool known = read_tag(value["verify"], step);
  if (known) step->name = "verify " + name_of(step->type);
  if (known && step->type == sensor_type::proximity) {
    only_step_keys(value, {"verify", "expect", "limits"});
    const PlacedJson expect = value["expect"];
    if (*expect != "near" && *expect != "far") return expect.problem("give \"near\" or \"far\"", value["verify"]);
    step->near = *expect == "near";
    step->limits = read_limits(value, {});
    return;
  }
  only_step_keys(value, {"verify", "samples", "settle", "period", "expect", "limits"});
  step->samples = value["samples"].whole(2, kSamplesMax, 0);
  step->settle = value["settle"].whole(0, kSamplesMax, step->settle);
  step->period_s = amount(value["period"], "s", 0.001, 10);
  if (!known) return;
  const Sensor* subject = subject_of(step->type);
  if (subject == nullptr) return value["verify"].problem("no verification reads this sensor's events");
  const auto axes = static_cast<size_t>(subject->values);
  const std::optional<Bound> expected = bound(value["expect"], subject->unit, axes, false);
  for (size_t i = 0; expected && i < axes; ++i) step->expected.push_back(expected->at(i));
  step->limits = read_limits(value, {subject->unit, subject->unit, false, axes});
  if (!value["limits"]->isObject() || value["limits"]->empty()) value.problem("a verification needs limits");
}

void read_report_check(const PlacedJson& value, Step* step) {
  only_step_keys(value, {"check", "positions"});
  step->report = true;
  step->name = "check report";
  if (!value.has("positions")) return;
  const PlacedJson positions = value["positions"];
  if (!positions->isArray()) return positions.problem("give a list of sensors");
  const std::vector<std::string> known = report_sensors();
  for (Json::ArrayIndex i = 0; i < positions->size(); ++i) {
    const PlacedJson position = positions[i];
    const std::string named = position->isString() ? position->asString() : "";
    if (std::count(known.begin(), known.end(), named) != 0) {
      step->positions.push_back(named);
    } else {
      positions.problem("the report has no such position" + or_nearest(named, known), position);
    }
  }
}

// The stored value that the step names, which must be one that can be read, or written.
const StoredValue* read_stored(const PlacedJson& value, Step* step) {
  const bool writes = step->kind == StepKind::write;
  std::vector<std::string> names;
  for (const StoredValue& row : stored_values()) {
    if (!row.applies(step->type) || (writes ? row.write == nullptr : row.read == nullptr)) continue;
    if (step->value == row.name) return &row;
    names.emplace_back(row.name);
  }
  value["value"].problem(std::string("no stored value of this sensor that can be ") + (writes ? "written" : "read") +
                         (names.empty() ? "" : or_nearest(step->value, names)));
  return nullptr;
}

void read_check(const PlacedJson& value, Step* step) {
  if (*value["check"] == "report") return read_report_check(value, step);
  only_step_keys(value, {"check", "value", "count", "limits"});
  step->count = value["count"].whole(1, kElementsMax, 5);
  step->value = value["value"].text();
  if (!read_tag(value["check"], step)) return;
  step->name = "check " + name_of(step->type) + " " + step->value;
  const StoredValue* stored = read_stored(value, step);
  if (stored == nullptr) return;
  if (stored->count != 0) step->count = stored->count;
  LimitUnits units;
  units.value = stored->unit(step->type);
  units.axes = static_cast<size_t>(step->count);
  step->limits = read_limits(value, units);
  if (!step->limits.low && !step->limits.high) value.problem("a check needs a limit: low, high, or both");
}

void read_write(const PlacedJson& value, Step* step) {
  only_step_keys(value, {"write", "value", "to"});
  step->value = value["value"].text();
  if (!read_tag(value["write"], step)) return;
  step->name = "write " + name_of(step->type) + " " + step->value;
  const StoredValue* stored = read_stored(value, step);
  if (stored == nullptr) return;
  const PlacedJson to = value["to"];
  step->count = stored->count != 0 ? stored->count : to->isArray() ? static_cast<int>(to->size()) : 1;
  if (!value.has("to")) return to.problem("give the values to write");
  if (step->count < 1 || step->count > kElementsMax)
    return to.problem("give 1 to " + std::to_string(kElementsMax) + " values");
  const auto count = static_cast<size_t>(step->count);
  const std::optional<Bound> numbers = bound(to, stored->unit(step->type), count, false);
  for (size_t i = 0; numbers && i < count; ++i) {
    const double number = numbers->at(i);
    const std::string wrong = stored->number_problem(step->type, i, number);
    if (!wrong.empty()) to.problem(plain_exactly(number) + ": " + wrong);
    step->numbers.push_back(number);
  }
}

void read_probe(const PlacedJson& value, Step* step) {
  only_step_keys(value, {"probe", "expect"});
  step->probe = value["probe"].text();
  step->name = "probe " + step->probe;
  std::vector<std::string> known;
  for (const Probe& probe : probes()) known.emplace_back(probe.name);
  if (std::count(known.begin(), known.end(), step->probe) == 0)
    value["probe"].problem("unknown probe" + or_nearest(step->probe, known));
  const PlacedJson expect = value["expect"];
  if (expect->isBool()) {
    step->answer = expect->asBool() ? 1 : 0;
  } else if (*expect == "no sensor") {
    step->answer = Probe::kNoSensor;
  } else {
    expect.problem("give true, false or \"no sensor\"", value.has("expect") ? expect : value["probe"]);
  }
}

// By their kind.
constexpr struct {
  const char* name;
  void (*read)(const PlacedJson& value, Step* step);
} kKinds[] = {{"fixture", read_fixture}, {"calibrate", read_calibrate}, {"verify", read_verify},
              {"check", read_check},     {"probe", read_probe},         {"write", read_write}};

}  // namespace

const char* kind_name(StepKind kind) { return kKinds[static_cast<size_t>(kind)].name; }

Step read_step(const PlacedJson& value) {
  Step step;
  if (!value->isObject()) {
    value.problem("a step is a JSON object");
    return step;
  }
  const std::string name = value["name"].text();
  step.repeat = value["repeat"].whole(1, kAttemptsMax, 1);
  step.stop_on_failure = stops(value["on_failure"]);
  std::vector<StepKind> kinds;
  for (size_t i = 0; i < std::size(kKinds); ++i) {
    if (value.has(kKinds[i].name)) kinds.push_back(static_cast<StepKind>(i));
  }
  if (kinds.empty()) {
    value.problem("is no step: give one of group, fixture, calibrate, verify, check, probe, write");
  } else if (kinds.size() > 1) {
    value.problem(std::string("is both ") + kind_name(kinds[0]) + " and " + kind_name(kinds[1]));
  } else {
    step.kind = kinds[0];
    kKinds[static_cast<size_t>(step.kind)].read(value, &step);
    if (!name.empty()) step.name = name;
  }
  return step;
}

}  // namespace factory::plan
