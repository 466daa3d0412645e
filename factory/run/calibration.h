// One calibration, from the request to a judged result.
#pragma once

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "files/numbers.h"
#include "phone/log_tap.h"
#include "phone/session.h"
#include "sensors/kinds.h"

namespace factory {

class HubWatch;

struct CalibrationRequest {
  int type = 0;
  int param = 0;
  std::optional<double> reference_hpa;  // barometer only
};

// One value of a sample: what the run found and what fresh samples say.
struct Axis {
  std::string name;
  double found = 0;               // mean of the run's samples
  double standard_deviation = 0;  // of the run's samples
  std::optional<double> scale;    // the new scale, where the run finds one
  std::optional<double> fresh;    // mean of fresh samples afterwards
  double fresh_deviation = 0;
  std::optional<double> truth;
  double limit = 0;                        // of the residual; 0: not judged
  std::optional<double> residual() const;  // fresh minus truth
};

// A light or colour run at a lit panel.
struct Panel {
  int level = 0;              // 13 full, 14 reduced
  int brightness = 0;         // that the panel was left at by the run
  int restored = -1;          // brightness put back afterwards; -1: could not be
  std::vector<double> found;  // lux, or the channels
  bool colour = false;
  bool refused = false;   // the panel did not take the brightness: nothing was measured, and nothing sent
  bool finished = false;  // the library's run came to its end; it may send a level all the same
  // Plain light at full and at a quarter of the brightness, once both levels are stored.
  std::optional<double> plain_bright;
  std::optional<double> plain_dim;
};

struct Calibration {
  CalibrationRequest request;
  const Kind* kind = nullptr;        // null: a hub command without a run of its own
  bool golden = false;               // the means became the golden values
  bool in_hub = false;               // the hub ran it by itself
  std::vector<std::string> fixture;  // what the command set, "key=value"
  double result = 0;                 // what the library returned
  RunLog run;
  int samples = 0;
  double seconds = 0;
  std::vector<Axis> axes;
  int fresh_samples = 0;
  std::optional<Panel> panel;  // a run at a lit panel
  bool interrupted = false;
  bool unreachable = false;  // a service is gone
  bool put_back = false;     // the hub's old values were written back, since the new ones did not pass

  bool passed = false;
  std::vector<std::string> reasons;  // why it did not pass, for a person
  std::vector<std::string> hints;    // what to try
  std::vector<std::string> notes;    // what to know about one that passed
};

// Sets the fixture, runs the library's calibration and judges it.
Calibration calibrate(Session& session, const CalibrationRequest& request);

// Parts of it. What kind of run it is, nothing set and nothing run yet.
Calibration prepare(const CalibrationRequest& request);
// Fails it where the hub did not answer since `hub` was made.
void believe(HubWatch& hub, Calibration* calibration);
// The library's run and what its record then holds.
void run_library(Session& session, Calibration* calibration);
// Switches off every sensor that the library may have left on.
void switch_off(Session& session);
// The listed sensor whose fresh samples show whether the calibration is right; null without one.
const ::android::hardware::sensors::V1_0::SensorInfo* verified_sensor(Session& session, const Kind& kind);
// Whether the proximity sensor says near; nothing when it does not answer. Where it does not say what is wanted at once
// it gets a moment to change: a target at its very threshold is found by one of the next samples.
std::optional<bool> reports_near(Session& session, bool wanted);
// Fresh samples of the sensor, against the truth or, for channels, the golden values.
void verify(Session& session, Calibration* calibration);
// Runs the library at a lit panel and puts the brightness back; then looks whether plain light still depends on it.
double run_at_panel(Session& session, Calibration* calibration);
// Fills reasons, hints, notes and `passed`.
void judge(Session& session, Calibration* calibration);

// What to try where the sample window started anew.
const char* restart_hint(Restart::Cause cause);
// What to try where no samples came, by the sampler's words for it.
const char* sampling_hint(const std::string& problem);
// What to try where fresh samples are not what they should be, by their unit.
const char* residual_hint(const std::string& unit);

Json::Value to_json(const Calibration& calibration);
std::string to_text(const Calibration& calibration);

}  // namespace factory
