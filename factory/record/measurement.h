// One measured value held against its limits.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace factory::record {

// `error`: the phone could not be judged, since the fixture, a service or the station was not as it has to be.
enum class Outcome { passed, marginal, failed, skipped, aborted, error };
constexpr int kOutcomes = 6;

const char* outcome_name(Outcome outcome);

struct Measurement {
  std::string name;  // residual, noise ...
  std::string axis;
  double value = 0;
  std::string unit;
  std::optional<double> standard_error;
  std::optional<double> low;
  std::optional<double> high;
  Outcome outcome = Outcome::passed;
};

// Fills the outcome. The limits themselves pass, not-a-number and infinities never do. A value is marginal when it lies
// nearer to a limit than `band` times the range between both limits, or times the limit where there is one.
void judge(Measurement* measurement, double band);

// "y: residual -0.31 +/- 0.02 m/s^2 is outside the limits of -0.02 to 0.02 m/s^2".
std::string describe(const Measurement& measurement);

}  // namespace factory::record
