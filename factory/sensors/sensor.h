// All that the application knows of a sensor, a row of one table for each type: what its events carry, what a
// calibration finds and what the hub keeps of it, how good it must be, and what it needs. A new kind of sensor is a new
// row.
#pragma once

#include <SensorCalibration.h>

#include <json/json.h>

#include <map>
#include <span>
#include <string>
#include <vector>

namespace factory {

inline constexpr double kGravity = 9.80665;  // m/s^2

// What becomes of the samples of a run.
enum class Result {
  none,           // no run: the hub or the chip calibrates by itself, or nothing does
  offset,         // means become the new offset
  lux_scale,      // 200 lux over the mean becomes the new scale
  channel_scale,  // golden over mean becomes the new channel scale; with --golden the means become golden
  proximity,      // thresholds and crosstalk
};

// What is stored of a sensor, by the way it is read and written: the rows of stored_values.cpp.
struct Stored {
  enum : unsigned {
    inertial_offset = 1U << 0,
    pressure_offset = 1U << 1,
    sar_offset = 1U << 2,
    tof_offset = 1U << 3,
    scale = 1U << 4,
    channel_scales = 1U << 5,
    golden = 1U << 6,
    dark = 1U << 7,
    thresholds = 1U << 8,  // of proximity, with the crosstalk and its files
    scale_file = 1U << 9,
    chip_register = 1U << 10,
    panel_versions = 1U << 11,
    any = ~0U,  // the version, which every type has
  };
};

// Groups of sensors for which Android publishes limits.
struct Published {
  enum : unsigned {
    accelerometer = 1U << 0,
    gyroscope = 1U << 1,  // both the calibrated and the uncalibrated one
    calibrated_gyroscope = 1U << 2,
    barometer = 1U << 3,
  };
};

// Sensors that share steps of the library: kSteps.
struct Steps {
  enum : unsigned {
    accelerometer = 1U << 0,
    gyroscope = 1U << 1,
    pressure = 1U << 2,
    lux_scale = 1U << 3,
    channels = 1U << 4,
    proximity = 1U << 5,
    sar = 1U << 6,
    tof = 1U << 7,
    tof_crosstalk = 1U << 8,
    light = 1U << 9,
    under_panel = 1U << 10,
    panel_levels = 1U << 11,
    any = ~0U,
  };
};

struct Sensor {
  int type = 0;
  const char* words = "";
  const char* label = nullptr;  // in the calibration report, where that is not the tag
  int record = -1;              // of the library's 18, that a listed sensor of this type is bound to
  int position = -1;            // in the calibration report
  int dark_position = -1;       // there, of its dark values
  bool upside_down = false;     // mounted so, turned about x

  // Samples of its calibration, and its events: `values` from `first_word` on; the axes beyond are golden values only.
  const char* unit = "";
  const char* axes[7] = {"value"};
  int values = 1;
  int first_word = 0;
  int period_ms = 100;
  bool scatters = false;  // on every axis, even at rest: equal samples mean that it is stuck
  // What of the fixture it sees, where it need not scatter: one that repeats a value shows it under a second one alone.
  const char* stimulus = nullptr;
  const char* shows = nullptr;  // unit of its own events, where its calibration samples another type
  unsigned limits = 0;          // Published
  // Why no other sensor may be looked at meanwhile; null: it may, where it is of another chip.
  const char* alone = nullptr;

  Result result = Result::none;
  int verified_type = 0;  // whose events a run samples, and whose fresh samples must agree with the truth afterwards
  int used_type = 0;      // what applications get of the chip, which types of one chip have in common
  int events = 0;         // of a run without restart: settling and samples
  double residual_limit = 0;       // in `unit`, or a fraction of the truth
  bool limit_is_relative = false;  // the noise limits, too
  double found_low = 0;   // of what a calibration finds (found_unit()) where a plan says nothing: what is beyond comes
  double found_high = 0;  // of a broken part or a wrong fixture. Both 0: no limits
  double offset_limit = 0;               // beyond which no offset makes sense: the library's own limits of a mean
  double noise = 0;                      // that fresh samples may have where a plan says nothing; 0: no limit
  double rest_noise = 0;                 // above which a run was not at rest, though it passed; 0: no limit
  std::span<const double> at_fixture{};  // what it reports flat, at rest, under the 200 lux lamp; empty: depends
  unsigned steps = 0;                    // Steps
  unsigned stores = 0;                   // Stored
  bool has_channels = false;             // that are calibrated one by one to a target
};

std::span<const Sensor> sensors();

// Null for a type that nothing is known of.
const Sensor* sensor_of(int type);

// Where only some chips have a step.
enum class Chip {
  any,
  time_of_flight,
  no_hardware_crosstalk,  // those that measure it by themselves end the step without doing anything
};

struct Need {
  const char* key;
  const char* value;  // as plans have it
};

// What the library does for a sensor when it is asked by number.
struct StepRow {
  unsigned of;  // Steps
  int first;    // parameters, inclusive
  int last;
  const char* words;
  unsigned changes = 0;           // Stored
  const char* leaves = nullptr;   // what it changes that nobody can put back
  std::span<const Need> needs{};  // of the fixture
  Chip chip = Chip::any;
};

// Null where the library has no such step: where it does nothing, or does nothing with what it samples, or takes the
// number for another, or sends a command that is not meant for this sensor.
const StepRow* step_of(int type, int param);

// "self-test", and "high lux 15" where several steps have the same words. Of a step that the library has.
std::string step_name(int type, int param);

// "0 offset, 4 self-test".
std::string steps_text(int type);

// Empty, or that no sensor is known that has this type.
std::string type_problem(int type);

// Empty, or that the library has no such step for the sensor, with the steps that there are.
std::string step_problem(int type, int param);

// Those whose channels have golden values.
std::string golden_tags();

// The hub counts channels from 0.
inline constexpr int kLastChannel = 7;

// Empty, or that the sensor has no channels to be calibrated one by one.
std::string channel_problem(int type, bool screen);

// Null for a type, or a step of it, without a run of its own.
const Sensor* find_kind(int type, int param);

// The record of its runs.
const _sensor_info& record_of(const SensorCalibration& cal, const Sensor& sensor);

// Unit of the value that a calibration finds and the hub stores: "factor" for scales.
std::string found_unit(const Sensor& sensor, bool golden);

// What the library can tell of a phone's chips.
struct Probe {
  static constexpr int kNoSensor = -3;  // answers
  static constexpr int kNoService = -2;
  const char* name;  // in plans
  const char* key;   // in JSON
  const char* question;
  int (SensorCalibration::*ask)();
};
std::span<const Probe> probes();
// An answer: "yes", "no", or why there is none.
std::string probe_text(int answer);

// Whether the chip in this phone is known to have the step. (The library takes a probe that fails for a match.)
bool chip_has(SensorCalibration& cal, int type, const StepRow& step);

// Whether the step looks at the sensor without calibrating it.
bool is_self_test(int param);

// Whether the step measures the panel's own light: 13 at full brightness, 14 at a reduced one.
bool is_panel_run(int param);

// Whether a sensor may notice that a setting of the fixture ("lux" ...) changes: one of how the phone lies, moves or is
// warm every sensor; lamp, dark box and target those that see light or what is near, pressure the barometer.
bool may_notice(const Sensor& sensor, const std::string& setting);

// What a calibrated sensor reports at the factory's fixture. Empty where that depends on the station.
std::vector<double> nominal(int type);

// Values of a calibrated sensor on a fixture that is set as `world` ("up", "lux" ... by their names) says. Empty where
// it does not say, or where the values depend on the phone. It is all that can be known on a real station: how the
// phone really lies, and how bright the lamp really is, nobody can be asked.
std::vector<double> told_by(const std::map<std::string, std::string>& world, int sensor_type);

// The same; where the world does not say, as on the factory's fixture: flat, at rest, under the lamp.
std::vector<double> expected_at(const std::map<std::string, std::string>& world, int sensor_type);

// What the events of a sensor carry: its row, with one value of another unit where it `shows` that. A type that nothing
// is known of has one value without a unit.
Sensor events_of(int type);

// Null for a sensor whose events no verification knows to read.
const Sensor* subject_of(int type);

// The type number of a tag or a number; throws AppError with the tags that come near.
int parse_tag(const std::string& text);

// The tag of a type number, or its decimal text.
std::string tag_of(int type);

// How every JSON document names a sensor: `type`, `tag` and, where it is known, `sensor` in words.
Json::Value sensor_json(int type);

// For people: its tag, or what it is where it has none.
std::string name_of(int type);

// How the calibration report calls it.
std::string label_of(const Sensor& sensor);

}  // namespace factory
