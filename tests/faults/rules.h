// The faults that a phone is tried with, and what each must lead to.
#pragma once

#include <span>
#include <string>

#include "kinds.h"

namespace fault_matrix {

// Faults of one class mean the same to every kind.
enum class FaultClass {
  harmless,          // a calibration must not notice
  no_service,        // no sensor service
  no_list,           // no sensor list
  no_queue,          // a list, but no event queue
  no_start,          // the sensor cannot be enabled
  no_manager,        // as one of these two, and the service's other calls fail too
  late_death,        // the service dies once the sensor is on
  stays_on,          // ... or only no longer hears
  no_hub,            // no test service
  hub_gone,          // it dies at its first message
  hub_lost,          // no message gets through
  read_lost,         // the one that reads does not get through
  golden_lost,       // nor the one that reads the golden channels
  write_lost,        // the one that changes does not get through
  refused_below,     // the hub does as it is told and answers -5
  refused_above,     // ... or 5
  read_refused,      // the hub answers -5 when it is asked what it holds
  golden_refused,    // ... about its golden channels
  colour_running,    // its own colour run never ends
  colour_failed,     // its own colour run ends with 7
  slow,              // each message takes longer
  silent,            // no events that the library takes
  stuck,             // the raw value is 0
  shaken,            // as restless, but by chance
  restless,          // what varies or lies beyond every limit
  not_a_number,      //
  panel_gone,        // the panel's brightness cannot be set
  panel_clamped,     // ... and follows only so far
  files_full,        // nothing can be written into the files, and they read as empty
  files_sealed,      // nothing can be written into the files
  files_absent,      // no files at all
  no_room,           // on a full partition a new file stays empty
  crosstalk_spoilt,  // the chip's crosstalk file
  delta_spoilt,      // the delta file
  json_spoilt,       // the light sensor's file
  json_sealed,       // ... can be read, not written
  json_off,          // its property is not set
  colour_by_hub,     // a property promises a colour run that the hub does not have
  colour_by_hand,    // ... or hides the one it has
  few_verdicts,      // the report's property is missing
  odd_verdicts,      // ... or malformed
  no_high_level,     // the high run's lux is missing or no number
  no_high_colour,    // ... its colour
  no_panel_colour,   // the property that makes panel runs colour runs
};

// What only a process without privileges can meet.
enum class Real { none, sealed_files, sealed_folder, full_partition, sealed_panel };

struct FaultRow {
  // As it is asked for. In braces, of the kind: {sensor} {other} the sensors, {get} {set} {word} {below} {above} its
  // messages, {much} what is beyond its limits, {calls} those of the sensor service until its sensor is on.
  const char* text;
  FaultClass effect;
  Groups groups = kEvery;  // to which it applies
  Real real = Real::none;
  const char* only = "";  // applies to this kind alone
};
std::span<const FaultRow> fault_rows();
// Those under which nobody comes back, so that no cell of this table would end, and the one of the station, of which
// the library knows nothing. tests/unit/phone tries them.
constexpr const char* kElsewhere[] = {"sensors-dead", "hub-dead", "wrong-fixture"};

// Whether the kind has what the fault spoils.
bool applies(const FaultRow& fault, const Kind& kind);
// The fault of this kind, as a phone takes it.
std::string fault_text(const FaultRow& fault, const Kind& kind);
// Whether the cell runs as a user without privileges: all that have to do with files.
bool unprivileged(const FaultRow& fault);

// What the hub or the files hold afterwards.
enum class State {
  usual,  // what a run without a fault leaves: in a rule only
  same,   // what they held before
  good,   // the result of this run, as good as without a fault
  wrong,  // something else
};

struct Expected {
  int result = 0;
  State hub = State::usual;
  State files = State::usual;
  double wait_s = 0;      // of the run's own waiting
  bool may_wait = false;  // so long at most, and perhaps not at all
  const char* says = "";
  const char* note = "";
  int init = 0;
  const char* verdict = "";  // the report's
  bool stays_on = false;
};
Expected expected_of(const FaultRow& fault, const Kind& kind);

}  // namespace fault_matrix
