// Why a step did not pass. The one place that says of each cause whether it is the phone's fault, a failure, or left
// the phone unjudged, an error; and by which code programs know it. docs/formats/run-record.md, docs/faults.md.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "record/record.h"

namespace factory::record {

struct Ground {
  std::string_view code;  // "service.gone"
  Outcome outcome;        // error, failed or aborted
  bool operator==(const Ground&) const = default;
};

struct Why {
  using enum Outcome;

  // Errors: what looks at the phone was not there, so that nothing is known of its sensors.
  static constexpr Ground service_gone{"service.gone", error};        // the sensor service does not answer, or died
  static constexpr Ground service_refuses{"service.refuses", error};  // it runs, and refuses its list or an event queue
  // the test service or the hub behind it does not answer, or left a message without an answer
  static constexpr Ground hub_silent{"hub.silent", error};
  // a call to the phone did not come back, and the watchdog ended it
  static constexpr Ground call_hangs{"call.hangs", error};
  // the wall clock, by which the library waits, was set during its run
  static constexpr Ground clock_stepped{"clock.stepped", error};
  // the fixture could not be set, or the operator skipped it
  static constexpr Ground fixture_not_set{"fixture.not_set", error};
  static constexpr Ground expected_unknown{"expected.unknown", error};  // nobody said what the sensor should report
  // the plan asks for a step that this phone's chip does not have
  static constexpr Ground other_phone{"plan.other_phone", error};
  // Failures: with its services there and the fixture set the phone did not do what it should.
  static constexpr Ground sensor_absent{"sensor.absent", failed};
  static constexpr Ground sensor_refused{"sensor.refused", failed};  // it alone cannot be enabled
  static constexpr Ground sensor_silent{"sensor.silent", failed};
  static constexpr Ground sensor_slow{"sensor.slow", failed};
  static constexpr Ground sensor_stuck{"sensor.stuck", failed};
  static constexpr Ground sensor_unsettled{"sensor.unsettled", failed};  // no window of samples passed
  static constexpr Ground sensor_no_number{"sensor.no_number", failed};
  static constexpr Ground value_outside{"value.outside", failed};
  static constexpr Ground value_unsure{"value.unsure", failed};  // too near to its limit to be sure
  static constexpr Ground value_missing{"value.missing", failed};
  static constexpr Ground near_wrong{"near.wrong", failed};
  static constexpr Ground hub_refused{"hub.refused", failed};
  static constexpr Ground hub_run_failed{"hub.run_failed", failed};  // the hub's own colour run
  static constexpr Ground library_failed{"library.failed", failed};
  static constexpr Ground panel_refused{"panel.refused", failed};
  static constexpr Ground panel_dark{"panel.dark", failed};
  static constexpr Ground panel_followed{"panel.followed", failed};  // plain light still depends on the panel
  static constexpr Ground stored_unreadable{"stored.unreadable", failed};
  static constexpr Ground stored_differs{"stored.differs", failed};
  static constexpr Ground not_calibrated{"report.not_calibrated", failed};
  static constexpr Ground probe_differs{"probe.differs", failed};
  static constexpr Ground old_values_lost{"old_values.lost", failed};  // they could not be put back, or nobody knows
  // Neither: a person ended it.
  static constexpr Ground interrupted{"interrupted", aborted};
};

// A cause with its words, and what to try.
struct Reason {
  Ground why;
  std::string text;
  std::string hint = {};
  std::vector<std::string> arguments = {};  // what the words were made of
};

inline constexpr char kNoNumbersHint[] =
    "the sensor delivers values that are no numbers: look at its connection and its driver, then repeat";

// Whether a broken part of the phone can look like this error of the station's.
bool phone_may_be_at_fault(const std::string& code);

// Whether another attempt could come out otherwise: not where a fixture was not set or the phone has no such sensor.
bool worth_another(const Attempt& attempt);

}  // namespace factory::record
