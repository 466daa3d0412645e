// What a run makes of each fault: the phone's failure, or an error where it could not be judged. Told in
// docs/faults.md, tried in tests/unit/plan.
#pragma once

#include <string_view>

namespace fault_matrix {

struct VerdictRow {
  std::string_view fault;  // as the run is given it
  const char* steps;       // of a plan that passes without it
  const char* verdict;     // of the run
  const char* code;        // of its first reason; empty: it passes
  const char* why;
  constexpr std::string_view name() const { return fault.substr(0, fault.find(':')); }
};

inline constexpr char kTryAcc[] = R"({"calibrate": "Acc"})";
inline constexpr char kTryAccVerified[] =
    R"({"verify": "Acc", "expect": ["0 g", "0 g", "1 g"], "limits": {"residual": "0.2 g"}})";
inline constexpr char kTryGyrVerified[] = R"({"verify": "Gyr", "limits": {"noise": "10 mrad/s"}})";
inline constexpr char kTryFar[] = R"({"fixture": {"target": "none"}}, {"verify": "Prx", "expect": "far"})";
inline constexpr char kTryCrosstalk[] = R"({"fixture": {"target": "none"}}, {"calibrate": "Prx"})";
inline constexpr char kTryLevel[] = R"({"fixture": {"dark-box": "on"}}, {"calibrate": "Lux", "param": 13})";
inline constexpr char kTryReport[] = R"({"calibrate": "Bar"}, {"check": "report", "positions": ["Bar"]})";
inline constexpr char kTryColour[] =
    R"({"fixture": {"lux": "200 lux", "dark-box": "off"}},
       {"calibrate": "CCT_F_strm", "golden": [800, 1200, 600, 2000, 400, 300, 200]})";

inline constexpr VerdictRow kVerdicts[] = {
    {"sensors-absent", kTryAcc, "error", "service.gone", "no sensor can be looked at"},
    {"sensors-vanish:6", kTryAcc, "error", "service.gone",
     "samples that a dead service does not bring are not missing from the sensor"},
    {"sensors-fail:6", kTryAcc, "error", "service.gone", "as where it is gone"},
    {"sensors-dead", kTryAcc, "error", "service.gone",
     "as where it is gone; a call that hangs is ended by the watchdog"},
    {"hub-absent", kTryAcc, "error", "hub.silent", "what the hub holds is not known"},
    {"hub-vanish:5", kTryAcc, "error", "hub.silent", "what the hub took is not known"},
    {"hub-dead", kTryAcc, "error", "hub.silent", "as where it is gone; a call that hangs is ended by the watchdog"},
    {"hub-fail", kTryAcc, "error", "hub.silent", "a lost answer reads as zeros"},
    {"hub-slow:2", kTryAcc, "passed", "", "late, and right"},
    {"hub-word:0,0,-5", kTryAcc, "failed", "library.failed", "the hub is there and refuses"},
    {"clock-step:3600", kTryAcc, "passed", "", "what the library did meanwhile is void, and done once more"},
    {"list-refused", kTryAcc, "error", "service.refuses", "which sensors there are is not known"},
    {"queue-refused", kTryAcc, "error", "service.refuses", "no sensor can be looked at"},
    {"queue-never", kTryAcc, "error", "service.refuses", "no sensor can be looked at"},
    {"enable-refused:Acc", kTryAcc, "failed", "sensor.refused", "the service is there, the sensor cannot be used"},
    {"silent:Prx", kTryFar, "failed", "sensor.silent", "the service is there, the sensor says nothing"},
    {"stuck:Gyr", kTryGyrVerified, "failed", "sensor.stuck", "a sensor at rest still scatters"},
    {"motion:Acc,1", kTryAcc, "failed", "value.outside",
     "what shakes is not told apart: the noise limit fails it, the hint says what to look at"},
    {"drift:Acc,0.5", kTryAcc, "failed", "value.outside", "a value out of its limits"},
    {"out-of-range:Acc", kTryAccVerified, "failed", "value.outside", "a value out of its limits"},
    {"nan:Acc", kTryAcc, "failed", "sensor.no_number", "the sensor's own values"},
    {"duplicate:Acc", kTryAcc, "passed", "", "the values are right"},
    {"late:Acc,20", kTryAcc, "passed", "", "the values are right"},
    {"burst:Acc", kTryAcc, "passed", "", "the values are right"},
    {"straggler:Acc", kTryAcc, "passed", "", "nothing waits for it any more"},
    {"wrong-handle:Prx", kTryFar, "failed", "sensor.silent", "the service is there and brings nothing of this sensor"},
    {"wrong-type:Prx", kTryFar, "failed", "sensor.silent", "the service is there and brings nothing of this sensor"},
    {"brightness-missing", kTryLevel, "failed", "library.failed", "the panel is the phone's"},
    {"brightness-read-only", kTryLevel, "failed", "library.failed", "the panel is the phone's"},
    {"brightness-clamped:100", kTryLevel, "failed", "panel.refused", "the panel is the phone's"},
    {"persist-full", kTryCrosstalk, "failed", "stored.unreadable", "the partition is the phone's"},
    {"persist-read-only", kTryCrosstalk, "failed", "stored.unreadable", "the partition is the phone's"},
    {"persist-absent", kTryCrosstalk, "failed", "stored.unreadable", "the partition is the phone's"},
    {"truncated:/mnt/vendor/nvcfg/sensor/lightSensorCali.json", kTryColour, "failed", "library.failed",
     "the file is the phone's"},
    {"garbled:/mnt/vendor/nvcfg/sensor/lightSensorCali.json", kTryColour, "failed", "library.failed",
     "the file is the phone's"},
    {"no-property:persist.vendor.sensor.cali_sensor", kTryReport, "failed", "report.not_calibrated",
     "the property is the phone's"},
    {"property:persist.vendor.goodix.cct_support=1", kTryColour, "failed", "hub.run_failed",
     "the property is the phone's"},
    {"wrong-fixture:up=tilted:8", kTryAcc, "failed", "value.outside",
     "nobody is told: what shows of it is a phone out of its limits"},
};

}  // namespace fault_matrix
