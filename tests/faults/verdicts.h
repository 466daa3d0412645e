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
    {"sensors-absent", kTryAcc, "error", "service.gone"},
    {"sensors-vanish:6", kTryAcc, "error", "service.gone"},
    {"sensors-fail:6", kTryAcc, "error", "service.gone"},
    {"sensors-dead", kTryAcc, "error", "service.gone"},
    {"hub-absent", kTryAcc, "error", "hub.silent"},
    {"hub-vanish:5", kTryAcc, "error", "hub.silent"},
    {"hub-dead", kTryAcc, "error", "hub.silent"},
    {"hub-fail", kTryAcc, "error", "hub.silent"},
    {"hub-slow:2", kTryAcc, "passed", ""},
    {"hub-word:0,0,-5", kTryAcc, "failed", "library.failed"},
    {"clock-step:3600", kTryAcc, "passed", ""},
    {"list-refused", kTryAcc, "error", "service.refuses"},
    {"queue-refused", kTryAcc, "error", "service.refuses"},
    {"queue-never", kTryAcc, "error", "service.refuses"},
    {"enable-refused:Acc", kTryAcc, "failed", "sensor.refused"},
    {"silent:Prx", kTryFar, "failed", "sensor.silent"},
    {"stuck:Gyr", kTryGyrVerified, "failed", "sensor.stuck"},
    {"motion:Acc,1", kTryAcc, "failed", "value.outside"},
    {"drift:Acc,0.5", kTryAcc, "failed", "value.outside"},
    {"out-of-range:Acc", kTryAccVerified, "failed", "value.outside"},
    {"nan:Acc", kTryAcc, "failed", "sensor.no_number"},
    {"duplicate:Acc", kTryAcc, "passed", ""},
    {"late:Acc,20", kTryAcc, "passed", ""},
    {"burst:Acc", kTryAcc, "passed", ""},
    {"straggler:Acc", kTryAcc, "passed", ""},
    {"wrong-handle:Prx", kTryFar, "failed", "sensor.silent"},
    {"wrong-type:Prx", kTryFar, "failed", "sensor.silent"},
    {"brightness-missing", kTryLevel, "failed", "library.failed"},
    {"brightness-read-only", kTryLevel, "failed", "library.failed"},
    {"brightness-clamped:100", kTryLevel, "failed", "panel.refused"},
    {"persist-full", kTryCrosstalk, "failed", "stored.unreadable"},
    {"persist-read-only", kTryCrosstalk, "failed", "stored.unreadable"},
    {"persist-absent", kTryCrosstalk, "failed", "stored.unreadable"},
    {"truncated:/mnt/vendor/nvcfg/sensor/lightSensorCali.json", kTryColour, "failed", "library.failed"},
    {"garbled:/mnt/vendor/nvcfg/sensor/lightSensorCali.json", kTryColour, "failed", "library.failed"},
    {"no-property:persist.vendor.sensor.cali_sensor", kTryReport, "failed", "report.not_calibrated"},
    {"property:persist.vendor.goodix.cct_support=1", kTryColour, "failed", "hub.run_failed"},
    {"wrong-fixture:up=tilted:8", kTryAcc, "failed", "value.outside"},
};

}  // namespace fault_matrix
