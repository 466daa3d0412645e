#include "record/measurement.h"

#include <cmath>

#include "files/numbers.h"

namespace factory::record {

const char* outcome_name(Outcome outcome) {
  constexpr const char* kNames[] = {"passed", "marginal", "failed", "skipped", "aborted", "error"};
  return kNames[static_cast<int>(outcome)];
}

void judge(Measurement* m, double band) {
  m->outcome = Outcome::failed;
  if (!std::isfinite(m->value)) return;
  if (m->low && !(m->value >= *m->low)) return;
  if (m->high && !(m->value <= *m->high)) return;
  const double range = m->low && m->high ? *m->high - *m->low : std::fabs(m->high.value_or(m->low.value_or(0)));
  // Between limits that lie evenly around zero the band counts from zero, as the one limit does that they stand for.
  const double margin = band * (m->low && m->high && *m->low == -*m->high ? range / 2 : range);
  const bool near_low = m->low && m->value < *m->low + margin;
  const bool near_high = m->high && m->value > *m->high - margin;
  m->outcome = near_low || near_high ? Outcome::marginal : Outcome::passed;
}

std::string describe(const Measurement& m) {
  const std::string unit = m.unit.empty() ? "" : " " + m.unit;
  std::string out = (m.axis.empty() ? "" : m.axis + ": ") + m.name + " " + plain(m.value);
  if (!std::isfinite(m.value)) return out + " is no number that could pass";
  if (m.standard_error) out += " +/- " + plain(*m.standard_error);
  out += unit;
  const bool bad = m.outcome == Outcome::failed;
  if (m.low && m.high) {
    out += std::string(bad ? " is outside" : " is near") + " the limits of " + plain(*m.low) + " to " + plain(*m.high);
  } else if (m.high) {
    out += std::string(bad ? " is above" : " is near") + " the limit of " + plain(*m.high);
  } else if (m.low) {
    out += std::string(bad ? " is below" : " is near") + " the limit of " + plain(*m.low);
  } else {
    return out + " has no limit";
  }
  return out + unit;
}

}  // namespace factory::record
