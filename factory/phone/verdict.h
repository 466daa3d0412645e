// The calibration report, position by position: what the hub holds and why that counts as calibrated or not.
#pragma once

#include <string>
#include <vector>

#include "phone/session.h"

namespace factory {

struct Verdict {
  int position = 0;
  int type = 0;        // of its sensor
  std::string sensor;  // what the position is called
  std::string holds;   // with unit
  bool calibrated = false;
  bool told = true;    // false: the report leaves it out
  bool listed = true;  // false: the phone lists no such sensor
  std::string why;
};

struct Report {
  std::string text;  // as the library gives it: one character per enabled position
  std::vector<Verdict> verdicts;
  std::string warning;  // why the text must not be trusted; empty: nothing
};

Report make_report(Session& session);

// Every sensor that a report can speak of, by the names of its verdicts.
std::vector<std::string> report_sensors();

}  // namespace factory
