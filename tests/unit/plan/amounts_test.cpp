// Numbers with units, and values against limits.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "files/units.h"
#include "record/record.h"

namespace factory::plan {
namespace {

using record::Measurement;
using record::Outcome;

TEST(Amounts, AreConvertedToTheUnitAskedFor) {
  const std::tuple<const char*, const char*, double> kRows[] = {
      {"2 min", "s", 120},          {"2 mg", "m/s^2", 0.0196133}, {"0.35 mrad/s", "rad/s", 0.00035},
      {"180 deg/s", "rad/s", M_PI}, {"12 Pa", "hPa", 0.12},       {"101.3 kPa", "hPa", 1013},
      {"400 ms", "s", 0.4},         {"3 cm", "mm", 30},           {"30 mm", "cm", 3},
      {"-5", "factor", -5},         {"2e-1 m", "cm", 20},         {"2 m", "mm", 2000},
      {"5 klux", "lux", 5000},      {"7 mbar", "hPa", 7},         {"2 g", "m/s^2", 19.6133},
      {"7 mm/s^2", "m/s^2", 0.007}, {"50 uT", "uT", 50},          {"9 counts", "counts", 9},
  };
  for (const auto& [text, unit, value] : kRows) {
    Amount amount;
    EXPECT_EQ(read_amount(text, unit, false, &amount), "") << text;
    EXPECT_NEAR(amount.value, value, 1e-9) << text;
    EXPECT_FALSE(amount.relative);
  }
}

TEST(Amounts, ThatDoNotFitAreRefused) {
  const std::pair<const char*, const char*> kRows[] = {
      {"0.02 rad/s", "m/s^2"}, {"0.02", "m/s^2"},    {"5 %", "m/s^2"}, {"nan m/s^2", "m/s^2"},
      {"inf hPa", "hPa"},      {"x m/s^2", "m/s^2"}, {"", "s"},        {"1 m/s^2 or so", "m/s^2"},
      {"1 HPA", "hPa"},        {"1e999 lux", "lux"}};
  for (const auto& [text, unit] : kRows) {
    Amount amount;
    EXPECT_NE(read_amount(text, unit, false, &amount), "") << text;
  }
}

TEST(Limits, HoldAtTheLimitAndNeverForWhatIsNoNumber) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInf = std::numeric_limits<double>::infinity();
  const struct {
    double value;
    std::optional<double> low, high;
    double band;
    Outcome outcome;
  } kRows[] = {
      {0.02, -0.02, 0.02, 0, Outcome::passed},
      {0.0200001, -0.02, 0.02, 0, Outcome::failed},
      {-0.0201, -0.02, 0.02, 0, Outcome::failed},
      {kNan, -1.0, 1.0, 0, Outcome::failed},
      {kNan, std::nullopt, 1.0, 0, Outcome::failed},
      {kNan, std::nullopt, std::nullopt, 0, Outcome::failed},
      {-kInf, std::nullopt, 1.0, 0, Outcome::failed},
      {kInf, 1.0, std::nullopt, 0, Outcome::failed},
      {0.0185, -0.02, 0.02, 0.1, Outcome::marginal},
      {0.0175, -0.02, 0.02, 0.1, Outcome::passed},
      {-0.0185, -0.02, 0.02, 0.1, Outcome::marginal},
      {9.5, std::nullopt, 10.0, 0.1, Outcome::marginal},
      {0.55, 0.5, 2.0, 0.1, Outcome::marginal},
      {0.7, 0.5, 2.0, 0.1, Outcome::passed},
      {5, std::nullopt, std::nullopt, 0.1, Outcome::passed},
  };
  for (const auto& row : kRows) {
    Measurement m;
    m.value = row.value;
    m.low = row.low;
    m.high = row.high;
    judge(&m, row.band);
    EXPECT_EQ(m.outcome, row.outcome) << row.value;
  }
  Measurement above{"", "", 1, ""};
  above.low = 1;
  above.strict = true;
  judge(&above, 0);
  EXPECT_EQ(above.outcome, Outcome::failed) << "the limit itself, where it does not pass";
}

}  // namespace
}  // namespace factory::plan
