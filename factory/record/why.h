// Why a step did not pass. The one place that says of each cause whether it is the phone's fault, a failure, or left
// the phone unjudged, an error; and by which code programs know it. docs/formats/run-record.md, docs/faults.md.
#pragma once

#include <string>
#include <vector>

#include "record/record.h"

namespace factory::record {

enum class Why {
  // Errors: what looks at the phone was not there, so that nothing is known of its sensors.
  service_gone,      // the sensor service does not answer, or died
  service_refuses,   // it runs, and refuses its list or an event queue
  hub_silent,        // the test service or the hub behind it does not answer, or left a message without an answer
  call_hangs,        // a call to the phone did not come back, and the watchdog ended it
  fixture_not_set,   // the fixture could not be set, or the operator skipped it
  expected_unknown,  // nobody said what the sensor should report
  other_phone,       // the plan asks for a step that this phone's chip does not have
  // Failures: with its services there and the fixture set the phone did not do what it should.
  sensor_absent,
  sensor_refused,  // it alone cannot be enabled
  sensor_silent,
  sensor_slow,
  sensor_stuck,
  sensor_unsettled,  // no window of samples passed
  sensor_no_number,
  value_outside,
  value_unsure,  // too near to its limit to be sure
  value_missing,
  near_wrong,
  hub_refused,
  hub_run_failed,  // the hub's own colour run
  library_failed,
  panel_refused,
  panel_dark,
  panel_followed,  // plain light still depends on the panel
  stored_unreadable,
  stored_differs,
  not_calibrated,
  probe_differs,
  old_values_lost,  // they could not be put back, or nobody knows
  // Neither: a person ended it.
  interrupted,
};

const char* code_of(Why why);  // "service.gone"
// Outcome::error, failed or aborted.
Outcome outcome_of(Why why);

// Whether another attempt could come out otherwise: not where a fixture was not set or the phone has no such sensor.
bool worth_another(const Attempt& attempt);

// A cause with its words, and what to try.
struct Reason {
  Why why;
  std::string text;
  std::string hint = {};
  std::vector<std::string> arguments = {};  // what the words were made of
};

}  // namespace factory::record
