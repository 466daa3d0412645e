// Why what the library did cannot count, and what a person can try.
#include <cmath>
#include <filesystem>

#include "phone/sampler.h"
#include "run/calibration.h"

namespace factory::plan {
namespace {

using ::android::hardware::sensors::V1_0::SensorInfo;
using record::Reason;
using record::Why;

std::string axis_name(const Sensor* kind, int axis) {
  return kind != nullptr && axis >= 0 && axis < kind->values ? kind->axes[axis] : "axis " + std::to_string(axis);
}

std::string times(size_t count) { return count == 1 ? "once" : std::to_string(count) + " times"; }

// The restart in words: "y: mean 6.57 m/s^2 is above the limit of 2 m/s^2".
std::string describe(const Restart& restart, const Sensor* kind) {
  const std::string axis = axis_name(kind, restart.axis);
  const std::string unit = kind == nullptr ? "" : kind->unit;
  switch (restart.cause) {
    case Restart::Cause::variance:
      return axis + ": variance " + plain(restart.value) + " (" + unit + ")^2 is above the limit of " +
             plain(restart.limit) + " (" + unit + ")^2";
    case Restart::Cause::zero_variance:
      return axis + ": all samples were equal (variance 0)";
    case Restart::Cause::bias:
      return axis + ": mean " + plain(restart.value) + " " + unit + " is above the limit of " + plain(restart.limit) +
             " " + unit;
  }
  return axis;
}

// Where a line of the library says what is wrong, what a person can do about it.
struct LineHint {
  const char* part;
  const char* hint;
};
constexpr char kCollectGolden[] =
    "the hub holds no golden values for this sensor: collect them on a golden phone with `sensorcal calibrate TAG "
    "--golden`, then write them here with `sensorcal set TAG golden ...`";
constexpr LineHint kLineHints[] = {
    {"lightsensor_calibrate getLuxScale fail", kCollectGolden},
    {"invalid coefficient", "the lamp is off, or the sensor is covered: it must see 200 lux"},
    {"not in resonable arrange",
     "a channel sees far too much or too little light: check the lamp and the golden values"},
    {"offset_near invalid", "the target is missing, too far, or the crosstalk is too high: put it at 3 cm"},
    {"failed when set offset to hub", "the hub refused the value: look at its log"},
    {"open json file fail", "the light sensor's file is missing or cannot be read"},
    {"parse json error",
     "the light sensor's file /mnt/vendor/nvcfg/sensor/lightSensorCali.json is damaged: put a good one in its place"},
    {"collectCRGB return is", "the hub refused the step under the panel: look at its log"},
    {"setAlsBacklightLuxCali_api failed", "the hub refused the panel's light: look at its log"},
    {"setCctChannelBacklight_api failed", "the hub refused the panel's light: look at its log"},
    {"setAlsChannelDataCali_api",
     "the hub refused the channel: the chip has none of this number, or sees no light with it"},
    {"lcdbacklight_calibrate_write_backlight failed",
     "the panel's brightness cannot be set: look at /sys/class/leds/lcd-backlight/brightness and its rights"},
    {"lcdbacklight_calibrate_read_backlight failed",
     "the panel's brightness cannot be read: look at /sys/class/leds/lcd-backlight"},
    {"Json file is null", "the light sensor's file has no \"als\" section"},
    {"setTofPrxCal_api fail", "the hub refused the step: look at its log; 6 comes after 5, and 7 after 6"},
    {"setSarCal_api fail", "the hub refused the step: look at its log, and whether the chip is there"},
    {"save delta failed", "look whether the persist partition is mounted, may be written and has room"},
};

std::string telling_line(const RunLog& run) {
  // The dispatch repeats a failure without saying more.
  for (auto line = run.errors.rbegin(); line != run.errors.rend(); ++line) {
    if (line->find("reporting_sensor_calibrate fail ret") == std::string::npos)
      return line->substr(0, line->find('\n'));
  }
  return "";
}

// Why the library returned a failure, from what it logged.
Reason explain(Session& session, const Calibration& c) {
  const RunLog& run = c.run;
  if (c.interrupted) return {Why::interrupted, "interrupted"};
  if (const _sensor_info* record = record_of_run(session, c); record != nullptr && record->present == 0) {
    return {Why::sensor_absent, "the phone lists no sensor that this calibration could sample",
            "look at `sensorcal sensors`"};
  }
  if (run.no_queue) return {Why::service_refuses, "the sensor service gave no event queue", kServiceHint};
  if (run.enable_failed) return {Why::sensor_refused, "the sensor could not be enabled", kServiceHint};
  if (run.timed_out && run.events == 0)
    return {Why::sensor_silent, "no event came from the sensor until the time was over", kSilentHint};
  if (run.timed_out && !run.restarts.empty()) {
    const Restart& last = run.restarts.back();
    return {Why::sensor_unsettled,
            "no window of samples passed until the time was over; the run restarted " + times(run.restarts.size()) +
                ", last " + describe(last, c.kind),
            restart_hint(last.cause),
            {std::to_string(run.restarts.size()), cause_name(last.cause), axis_name(c.kind, last.axis)}};
  }
  if (run.timed_out) {
    return {Why::sensor_slow,
            "only " + std::to_string(run.events) + " events came until the time was over",
            "the sensor is slow, or fell silent in the middle",
            {std::to_string(run.events)}};
  }
  if (c.in_hub) {
    constexpr double kNoEnd = 1098;
    constexpr double kNoGolden = 1;
    return {Why::hub_run_failed,
            c.result == kNoEnd ? "the hub's own colour run did not end in 4.5 s"
                               : "the hub's own colour run ended with error " + plain(c.result),
            c.result == kNoGolden && !c.golden ? kCollectGolden
                                               : "look at the hub's log, and whether it has a colour run of its own",
            {plain(c.result)}};
  }
  if (const std::string line = telling_line(run); !line.empty()) {
    Reason reason{Why::library_failed, "the library says: " + line, "", {line}};
    for (const LineHint& row : kLineHints) {
      if (line.find(row.part) != std::string::npos) reason.hint = row.hint;
    }
    return reason;
  }
  return {Why::hub_refused,
          "the hub answered " + plain(c.result),
          "the hub refused the step: look at its log, and whether the chip is there",
          {plain(c.result)}};
}

// Values of the hub and the files, by their names.
using Stored = std::vector<std::pair<const char*, std::vector<double>>>;

std::optional<double> held_before(const Calibration& c, const std::string& name) {
  for (const HeldValue& value : c.attempt.before) {
    if (value.name == name && !value.values.empty()) return value.values[0];
  }
  return {};
}

constexpr int kCrosstalkStep = 0;

// The library goes on without the file that a proximity step starts from.
std::optional<Reason> missing_file(Session& session, const Calibration& c) {
  if (c.kind->result != Result::proximity) return {};
  const bool by_chip = record_of(session.cal(), *c.kind).hw_cali != 0;
  if (by_chip ? !sets_thresholds(c.step) : sets_thresholds(c.step)) return {};
  const std::string name = by_chip ? "crosstalk-file-1" : "delta-file";
  if (held_before(c, name)) return {};
  const std::filesystem::path file = stored_value(c.step.type, name)->file;
  // A phone that has no delta yet is calibrated without one.
  std::error_code ignored;
  const bool none_yet = std::filesystem::is_directory(file.parent_path(), ignored) &&
                        !std::filesystem::is_symlink(file, ignored) && !std::filesystem::exists(file, ignored);
  if (c.step.param == kCrosstalkStep && none_yet) return {};
  return Reason{Why::stored_unreadable,
                "/" + file.string() + " cannot be read, which the step starts from",
                std::string("step ") + (by_chip ? "0" : "2") +
                    " of Prx writes it; where that was done, look whether the partition is mounted",
                {name}};
}

// What a proximity step makes of its mean, as the library documents it.
Stored proximity_values(Session& session, const Calibration& c) {
  const _sensor_info& record = record_of(session.cal(), *c.kind);
  const bool by_chip = record.hw_cali != 0;
  const double raw = std::trunc(static_cast<double>(record.mean[0]));
  const auto far = [&](double near, double crosstalk) {
    const float factor = !by_chip ? 2.27F : property("ro.product.product.name") == "tessak" ? 2.6F : 1.89F;
    return std::trunc(
        static_cast<double>(static_cast<float>(near - crosstalk) / factor + static_cast<float>(crosstalk)));
  };
  if (sets_thresholds(c.step)) {
    const double crosstalk = held_before(c, by_chip ? "crosstalk-file-1" : "crosstalk").value_or(0);
    const Stored out = {{"near", {raw}}, {"far", {far(raw, crosstalk)}}, {"delta-file", {raw - crosstalk}}};
    return {out.begin(), out.end() - (by_chip ? 1 : 0)};
  }
  const bool finds = c.step.param == kCrosstalkStep;
  if (by_chip && finds) {
    Stored out = {{"crosstalk-file-1", {raw}}, {"crosstalk-file-2", {static_cast<double>(record.ct_value)}}};
    // A hub that tells what its chip measured tells what was filed.
    const Reading told = stored_value(c.step.type, "crosstalk")->read(*session.cal().cal_api, c.step.type, 1);
    if (told.values[0] != 0) out.emplace_back("crosstalk", out[1].second);
    return out;
  }
  const std::optional<double> delta = held_before(c, "delta-file");
  if (delta && finds) return {{"crosstalk", {raw}}, {"near", {*delta + raw}}, {"far", {far(*delta + raw, raw)}}};
  if (delta) return {{"crosstalk", {raw}}, {"near", {*delta}}};
  return finds ? Stored{{"crosstalk", {raw}}} : Stored();
}

// What a run adds to its samples, or divides them by, may be what it fails by.
std::optional<Reason> impossible_before(const Calibration& c) {
  for (const HeldValue& held : c.attempt.before) {
    const StoredValue& value = *stored_value(c.step.type, held.name);
    const auto [low, high] = value.range(c.step.type);
    std::string zeros;
    for (size_t i = 0; i < held.values.size(); ++i) zeros += low > 0 ? " 1" : " 0";
    for (const double number : held.values) {
      if (number >= low && number <= high) continue;
      const std::string unit = held.unit.empty() ? "" : " " + held.unit;
      return Reason{
          Why::value_outside,
          "before the run " + place_of(value) + " held " + plain(number) + unit + " as " + held.name +
              ", which goes from " + plain(low) + " to " + plain(high) + unit,
          "write one that can be, and calibrate again: sensorcal set " + tag_of(c.step.type) + " " + held.name + zeros,
          {held.name, plain(number), plain(low), plain(high), held.unit}};
    }
  }
  return {};
}

// What the hub and the files must hold after a run that went through. What the hub found by itself nobody else knows.
Stored stored_by(Session& session, const Calibration& c) {
  if (c.kind->result == Result::proximity) return proximity_values(session, c);
  std::vector<double> found;
  std::vector<double> scales;
  for (const Axis& axis : c.axes) {
    found.push_back(axis.found);
    if (axis.scale) scales.push_back(*axis.scale);
  }
  if (c.in_hub || found.empty()) return {};
  if (c.golden) return {{"golden", found}};
  if (c.kind->result == Result::offset) return {{"offset", found}};
  return {{c.kind->result == Result::lux_scale ? "scale" : "channel-scales", scales}};
}

}  // namespace

const char* restart_hint(Restart::Cause cause) {
  switch (cause) {
    case Restart::Cause::variance:
      return "the phone moves or the source flickers: set it down still and try again";
    case Restart::Cause::zero_variance:
      return "the sensor repeats one value: it is stuck, or its driver does not update it";
    case Restart::Cause::bias:
      return "the phone does not lie as it should (flat for an accelerometer, still for a gyroscope, right lamp or "
             "target), or the sensor is out of range";
  }
  return "";
}

const char* residual_hint(const std::string& unit) {
  if (unit == "lux" || unit == "counts")
    return "lamp or target are not where they were, or not as bright: look at both";
  if (unit == "hPa") return "compare the reference barometer, and wait until the pressure has settled";
  return "the phone was moved or does not lie flat and still, or the hub does not apply what it stores: set it up "
         "again and repeat";
}

const char* noise_hint(const std::string& unit) {
  if (unit == "lux" || unit == "counts") return "the lamp flickers or something moves before the sensor: look at both";
  return "the phone moves: set it down still, away from what shakes it, and repeat";
}

// The one asked for, or the one that its record is bound to.
const SensorInfo* verified_sensor(Session& session, const Sensor& kind) {
  const SensorInfo* sensor = session.sensor(kind.verified_type);
  if (sensor != nullptr) return sensor;
  const _sensor_info& record = record_of(session.cal(), kind);
  return record.present != 0 ? &record.info : nullptr;
}

// The type-8 sensor reports its state when it is enabled, and changes only after that: so each look enables it anew.
std::optional<Reason> near_problem(Session& session, std::optional<bool> wanted) {
  const SensorInfo* sensor = session.sensor(sensor_type::proximity);
  if (sensor == nullptr)
    return Reason{Why::sensor_absent, "the phone lists no proximity sensor", "look at `sensorcal sensors`"};
  const SampleRequest request{.sensor = *sensor, .skip = 0, .count = 1, .timeout_s = 2};
  constexpr int kLooks = 10;
  for (int look = 0; look < kLooks && !session.interrupted(); ++look) {
    const FreshSamples states = take_samples(session.cal().sensor_manager, request, session.interrupted());
    if (states.rows.empty()) {
      const bool silent = states.problem->why == Why::sensor_silent;
      return silent ? Reason{Why::sensor_silent, "the proximity sensor does not report", kSilentHint} : states.problem;
    }
    const double state = states.rows.back()[0];
    if (!std::isfinite(state))
      return Reason{Why::sensor_no_number, "the proximity sensor's state is not a number", kNoNumbersHint};
    if (!wanted || (state < static_cast<double>(sensor->maxRange) / 2) == *wanted) return std::nullopt;
  }
  const auto word = [](bool near) -> std::string { return near ? "near" : "far"; };
  return Reason{Why::near_wrong,
                "the proximity sensor says " + word(!*wanted) + " and should say " + word(*wanted),
                "look at the target's distance, then repeat step 0 without a target and step 2 with it at 3 cm",
                {word(!*wanted), word(*wanted)}};
}

void judge_run(Session& session, Calibration* c) {
  if (c->unheard) return;  // why is told already
  const std::optional<Reason> started_from = impossible_before(*c);
  const bool unfinished = c->panel && !c->panel->refused && !c->panel->finished;
  if (c->result != 0 || c->interrupted || unfinished) {
    if (started_from && !c->interrupted) c->attempt.fail(*started_from);
    c->attempt.fail(explain(session, *c));
  } else if (!c->refusal.empty()) {
    c->attempt.fail({Why::hub_refused, c->refusal, kHubHint});
  } else if (c->kind != nullptr) {
    for (const Axis& axis : c->axes) {
      if (!std::isfinite(axis.found) && started_from) return c->attempt.fail(*started_from);
      if (std::isfinite(axis.found) && (!axis.scale || std::isfinite(*axis.scale))) continue;
      c->attempt.fail(
          {Why::sensor_no_number, axis.name + ": the value found is not a number", kNoNumbersHint, {axis.name}});
    }
    if (!c->attempt.reasons.empty()) return;
    const bool proximity = c->kind->result == Result::proximity;
    if (proximity && record_of(session.cal(), *c->kind).hw_cali == 0 && !c->axes.empty() && c->axes[0].found == 0 &&
        c->axes[0].standard_deviation == 0) {
      return c->attempt.fail({Why::sensor_stuck,
                              "reflection: all samples are 0 counts, and not even crosstalk shows",
                              restart_hint(Restart::Cause::zero_variance),
                              {"reflection", "0"}});
    }
    if (const auto missing = missing_file(session, *c)) return c->attempt.fail(*missing);
    for (const auto& [name, values] : stored_by(session, *c))
      require_stored(session, c->step.type, name, values, &c->attempt);
  }
}

}  // namespace factory::plan
