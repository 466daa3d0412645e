// What a run makes of each fault: the phone's failure, or an error where it could not be judged. Told in
// docs/faults.md, tried in tests/unit/plan.
#pragma once

namespace fault_matrix {

struct VerdictRow {
  const char* fault;    // its name
  const char* given;    // as the run is given it
  const char* steps;    // of a plan that passes without it
  const char* profile;  // of the phone
  const char* verdict;  // of the run
  const char* code;     // of its first reason; empty: it passes
  const char* why;
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
    {"sensors-absent", "sensors-absent", kTryAcc, "reference", "error", "service.gone", "no sensor can be looked at"},
    {"sensors-vanish", "sensors-vanish:6", kTryAcc, "reference", "error", "service.gone",
     "samples that a dead service does not bring are not missing from the sensor"},
    {"sensors-fail", "sensors-fail:6", kTryAcc, "reference", "error", "service.gone", "as where it is gone"},
    {"sensors-dead", "sensors-dead", kTryAcc, "reference", "error", "service.gone",
     "as where it is gone; a call that hangs is ended by the watchdog"},
    {"hub-absent", "hub-absent", kTryAcc, "reference", "error", "hub.silent", "what the hub holds is not known"},
    {"hub-vanish", "hub-vanish:5", kTryAcc, "reference", "error", "hub.silent", "what the hub took is not known"},
    {"hub-dead", "hub-dead", kTryAcc, "reference", "error", "hub.silent",
     "as where it is gone; a call that hangs is ended by the watchdog"},
    {"hub-fail", "hub-fail", kTryAcc, "reference", "error", "hub.silent", "a lost answer reads as zeros"},
    {"hub-slow", "hub-slow:2", kTryAcc, "reference", "passed", "", "late, and right"},
    {"hub-word", "hub-word:0,0,-5", kTryAcc, "reference", "failed", "library.failed", "the hub is there and refuses"},
    {"clock-step", "clock-step:3600", kTryAcc, "reference", "passed", "",
     "what the library did meanwhile is void, and done once more"},
    {"list-refused", "list-refused", kTryAcc, "reference", "error", "service.refuses",
     "which sensors there are is not known"},
    {"queue-refused", "queue-refused", kTryAcc, "reference", "error", "service.refuses", "no sensor can be looked at"},
    {"queue-never", "queue-never", kTryAcc, "reference", "error", "service.refuses", "no sensor can be looked at"},
    {"enable-refused", "enable-refused:Acc", kTryAcc, "reference", "failed", "sensor.refused",
     "the service is there, the sensor cannot be used"},
    {"silent", "silent:Prx", kTryFar, "reference", "failed", "sensor.silent",
     "the service is there, the sensor says nothing"},
    {"stuck", "stuck:Gyr", kTryGyrVerified, "reference", "failed", "sensor.stuck", "a sensor at rest still scatters"},
    {"motion", "motion:Acc,1", kTryAcc, "reference", "failed", "value.outside",
     "what shakes is not told apart: the noise limit fails it, the hint says what to look at"},
    {"drift", "drift:Acc,0.5", kTryAcc, "reference", "failed", "value.outside", "a value out of its limits"},
    {"out-of-range", "out-of-range:Acc", kTryAccVerified, "reference", "failed", "value.outside",
     "a value out of its limits"},
    {"nan", "nan:Acc", kTryAcc, "reference", "failed", "sensor.no_number", "the sensor's own values"},
    {"duplicate", "duplicate:Acc", kTryAcc, "reference", "passed", "", "the values are right"},
    {"late", "late:Acc,20", kTryAcc, "reference", "passed", "", "the values are right"},
    {"burst", "burst:Acc", kTryAcc, "reference", "passed", "", "the values are right"},
    {"straggler", "straggler:Acc", kTryAcc, "reference", "passed", "", "nothing waits for it any more"},
    {"wrong-handle", "wrong-handle:Prx", kTryFar, "reference", "failed", "sensor.silent",
     "the service is there and brings nothing of this sensor"},
    {"wrong-type", "wrong-type:Prx", kTryFar, "reference", "failed", "sensor.silent",
     "the service is there and brings nothing of this sensor"},
    {"brightness-missing", "brightness-missing", kTryLevel, "reference", "failed", "library.failed",
     "the panel is the phone's"},
    {"brightness-read-only", "brightness-read-only", kTryLevel, "reference", "failed", "library.failed",
     "the panel is the phone's"},
    {"brightness-clamped", "brightness-clamped:100", kTryLevel, "reference", "failed", "panel.refused",
     "the panel is the phone's"},
    {"persist-full", "persist-full", kTryCrosstalk, "reference", "failed", "stored.unreadable",
     "the partition is the phone's"},
    {"persist-read-only", "persist-read-only", kTryCrosstalk, "reference", "failed", "stored.unreadable",
     "the partition is the phone's"},
    {"persist-absent", "persist-absent", kTryCrosstalk, "reference", "failed", "stored.unreadable",
     "the partition is the phone's"},
    {"truncated", "truncated:/mnt/vendor/nvcfg/sensor/lightSensorCali.json", kTryColour, "reference", "failed",
     "library.failed", "the file is the phone's"},
    {"garbled", "garbled:/mnt/vendor/nvcfg/sensor/lightSensorCali.json", kTryColour, "reference", "failed",
     "library.failed", "the file is the phone's"},
    {"no-property", "no-property:persist.vendor.sensor.cali_sensor", kTryReport, "reference", "failed",
     "report.not_calibrated", "the property is the phone's"},
    {"property", "property:persist.vendor.goodix.cct_support=1", kTryColour, "reference", "failed", "hub.run_failed",
     "the property is the phone's"},
    {"wrong-fixture", "wrong-fixture:up=tilted:8", kTryAcc, "reference", "failed", "value.outside",
     "nobody is told: what shows of it is a phone out of its limits"},
};

}  // namespace fault_matrix
