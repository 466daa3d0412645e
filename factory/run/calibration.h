// The library's part of a calibration: what was asked of it, what it did, and why that cannot count where it cannot.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "files/numbers.h"
#include "phone/held_values.h"
#include "phone/log_tap.h"
#include "phone/session.h"
#include "record/why.h"
#include "run/plan.h"
#include "sensors/sensor.h"
#include "sensors/stored_values.h"

namespace factory::plan {

// One value of a sample, as the run found it.
struct Axis {
  std::string name;
  double found = 0;               // mean of the run's samples
  double standard_deviation = 0;  // of the run's samples
  std::optional<double> scale;    // the new scale, where the run finds one
};

// A light or colour run at a lit panel.
struct Panel {
  int brightness = 0;         // that the panel was left at by the run
  int restored = -1;          // brightness put back afterwards; -1: could not be
  std::vector<double> found;  // lux, or the channels
  double deviation = 0;       // standard deviation of its samples, the first channel's
  bool colour = false;
  bool refused = false;   // the panel did not take the brightness: nothing was measured, and nothing sent
  bool finished = false;  // the library's run came to its end; it may send a level all the same
};

struct Calibration {
  Calibration(const Step& of, std::optional<double> reference, record::Attempt* made);

  const Step& step;
  const std::optional<double> reference_hpa;
  record::Attempt& attempt;      // takes why it cannot count
  const Sensor* kind = nullptr;  // null: a hub command without a run of its own
  bool golden = false;           // the means became the golden values
  bool in_hub = false;           // the hub ran it by itself
  double result = 0;             // what the library returned
  RunLog run;
  int samples = 0;
  double seconds = 0;
  std::vector<Axis> axes;
  std::optional<Panel> panel;  // a run at a lit panel
  bool interrupted = false;
  bool unheard = false;  // the hub did not answer everything, or the clock was set: nothing counts
  std::string refusal;   // the hub did not take what it was told, and the library went on
};

// The library's run, or its command to one channel, for which the hub takes the sample itself; and what the run's
// record then holds.
void run_library(Session& session, Calibration* calibration);
// Runs the library at a lit panel and puts the brightness back; then looks whether plain light still depends on it.
double run_at_panel(Session& session, Calibration* calibration);
// Fills the reasons: why the library failed, or why what it found cannot be right whatever fresh samples say.
void judge_run(Session& session, Calibration* calibration);

// What the library makes of an event's values: in which unit, with the held offset added, by the held scale, and with
// gravity and the reference taken away.
struct Taking {
  std::string unit;
  std::vector<double> offset, scale, rest;  // a value each; empty: none
  std::vector<double> operator()(std::vector<double> event) const;
};
Taking taking_of(const Calibration& calibration);

// A run's samples as the library took them, and what became of each. Nothing where it had no run of its own.
std::optional<record::Window> window_of(Session& session, const Calibration& calibration);
// The record of a run at a lit panel.
const _sensor_info& panel_record(Session& session, int type);
// The record of the library's run; null where it had none of its own.
const _sensor_info* record_of_run(Session& session, const Calibration& calibration);
inline constexpr int kRunFinished = 2;  // of a record's status

// Of the first channels of a stream: the plan's, or where it has none the hub's. Empty where there are none.
std::vector<double> golden_values(Session& session, const Step& step, size_t values);
// The hub, or the file.
std::string place_of(const StoredValue& value);
// What counts is what reads back: a failure for each of the values that is not there, with its name and place.
void require_stored(Session& session, int type, const std::string& name, const std::vector<double>& wanted,
                    record::Attempt* attempt);
// What to try where a file of the device is not as it should be.
inline constexpr char kFileHint[] =
    "look whether the partition is mounted, may be written and has room, then calibrate this sensor again";
inline constexpr char kHubHint[] = "look at the hub's log";

// The panel's brightness, through the library's own operations; -1 where the node cannot be read.
int panel_brightness(Session& session);
int panel_maximum(Session& session);
// True when the panel took the brightness.
bool set_panel_brightness(Session& session, int brightness);
// Switches the panel's light off for a lamp run, which sees it too; the session puts the brightness back at its end.
void darken_panel(Session& session);

// The listed sensor whose fresh samples show whether the calibration is right; null without one.
const ::android::hardware::sensors::V1_0::SensorInfo* verified_sensor(Session& session, const Sensor& kind);
// Why the proximity sensor does not say what is wanted, or anything; nothing where it does. Where it does not at once
// it gets a moment to change: a target at its very threshold is found by one of the next samples.
std::optional<record::Reason> near_problem(Session& session, std::optional<bool> wanted);

// What to try where the sample window started anew.
const char* restart_hint(Restart::Cause cause);
// What to try where fresh samples are not what they should be, by their unit.
using record::kNoNumbersHint;
const char* residual_hint(const std::string& unit);
const char* noise_hint(const std::string& unit);

}  // namespace factory::plan
