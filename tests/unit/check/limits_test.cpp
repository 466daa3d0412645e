// The published limits: what just keeps them, and what just does not.
#include "check/limits.h"

#include <SensorType.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "samples.h"

namespace factory {
namespace {

using record::Outcome;

constexpr double kPeriodMs = 10;
constexpr int kSamples = 301;

// A sensor that keeps every limit.
Observation sound(int type) {
  Observation seen;
  seen.sensor = events_of(type);
  seen.max_range = 2000;
  seen.period_ms = kPeriodMs;
  seen.first_sample_ms = kPeriodMs;
  seen.main.samples = swinging(kSamples, kPeriodMs, 0, 1e-4F);
  if (type == sensor_type::pressure) seen.main.truth = {0};
  return seen;
}

// Failed where one axis is; nothing where it was not judged.
std::optional<Outcome> outcome_of(const Observation& seen, const std::string& name) {
  record::Attempt attempt;
  judge_sensor(seen, &attempt);
  std::optional<Outcome> out;
  for (const record::Measurement& m : attempt.measurements) {
    if (m.name == name && out != Outcome::failed) out = m.outcome;
  }
  EXPECT_TRUE(out != Outcome::failed || attempt.outcome == Outcome::failed) << name;
  return out;
}

// Moves the time stamps from a sample on.
void shift(Observation* seen, size_t from, double by_ms) {
  for (size_t i = from; i < seen->main.samples.size(); ++i) {
    seen->main.samples[i].timestamp_ns += static_cast<int64_t>(by_ms * 1e6);
  }
}

using Change = std::function<void(Observation*)>;

Change values(float mean, float swing) {
  return [=](Observation* seen) { seen->main.samples = swinging(kSamples, kPeriodMs, mean, swing); };
}
Change period(double ms, int count = kSamples) {
  return [=](Observation* seen) { seen->main.samples = swinging(count, ms, 0, 1e-4F); };
}
Change first_after(double ms) {
  return [=](Observation* seen) { seen->first_sample_ms = ms; };
}
Change gaps(int count) {
  return [=](Observation* seen) {
    for (int i = 0; i < count; ++i) shift(seen, static_cast<size_t>(i) * 50 + 1, 8.1);
  };
}
// Every other interval longer, the one after it shorter: the deviation is `by_ms`.
Change jitter(double by_ms) {
  return [=](Observation* seen) {
    for (size_t i = 1; i < seen->main.samples.size(); i += 2) {
      seen->main.samples[i].timestamp_ns += static_cast<int64_t>(by_ms * 1e6);
    }
  };
}
// As many samples come later than the others.
Change held_up(int count, int by_ms) {
  return [=](Observation* seen) {
    for (int i = 1; i <= count; ++i)
      seen->main.samples[static_cast<size_t>(i) * 20].arrival += std::chrono::milliseconds(by_ms);
  };
}
// The barometer's error at another pressure.
Change elsewhere(float error) {
  return [=](Observation* seen) { seen->elsewhere = {swinging(101, kPeriodMs, -20 + error, 1e-4F), {-20}}; };
}

TEST(Limits, EachIsKeptUpToItsValue) {
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  using namespace sensor_type;  // NOLINT(google-build-using-namespace)
  const std::tuple<const char*, int, Change, Change> kRows[] = {
      {"first sample", accelerometer, first_after(420), first_after(420.1)},
      {"duration", accelerometer, period(10, 301), period(10, 300)},
      {"rate", accelerometer, period(11.1), period(11.2)},
      {"rate", accelerometer, period(4.55, 800), period(4.5, 800)},
      {"gaps", accelerometer, gaps(3), gaps(4)},
      {"jitter", accelerometer, jitter(0.299), jitter(0.301)},
      {"jitter", accelerometer, period(0.5), jitter(1)},
      {"delay", accelerometer, held_up(3, 500), held_up(4, 500)},
      {"delay", accelerometer, held_up(14, 119), held_up(14, 121)},
      {"noise", accelerometer, values(9.8F, 0.0499F), values(9.8F, 0.0501F)},
      {"noise", accelerometer_second, values(-9.8F, 0), values(kNan, 0)},
      {"variance per Hz", gyroscope, values(0, 0.00315F), values(0, 0.00318F)},
      {"variance per Hz", gyroscope_uncalibrated, values(0.5F, 0.003F), values(0, kNan)},
      {"error at rest", gyroscope_second, values(-0.0099F, 0), values(-0.0101F, 0)},
      {"error at rest", gyroscope, values(0, 0), values(kNan, 0)},
      {"absolute accuracy", pressure, values(0.99F, 0), values(-1.01F, 0)},
      {"relative accuracy", pressure, elsewhere(0.119F), elsewhere(-0.121F)},
      {"relative accuracy", pressure, elsewhere(0), elsewhere(kNan)},
      {"changes between samples", accelerometer, values(0, 1e-6F), values(0.1F, 0)},
      {"values that are no numbers", pressure, [](Observation* seen) { seen->main.samples[1].words[1] = kNan; },
       [](Observation* seen) { seen->main.samples[1].words[0] = kNan; }},
      {"values beyond the sensor's own range", accelerometer, values(-2000, 0), values(-2005, 0)},
      {"values beyond the sensor's own range", gyroscope, [](Observation* seen) { seen->max_range = 0.5; },
       [](Observation* seen) { seen->max_range = 9e-5; }},
  };
  for (const auto& [name, type, keeps, misses] : kRows) {
    Observation seen = sound(type);
    keeps(&seen);
    EXPECT_EQ(outcome_of(seen, name), Outcome::passed) << name << " of type " << type;
    seen = sound(type);
    misses(&seen);
    EXPECT_EQ(outcome_of(seen, name), Outcome::failed) << name << " of type " << type;
  }
}

TEST(Limits, WhatIsNotKnownIsNotJudged) {
  Observation seen = sound(sensor_type::pressure);
  seen.main.truth.clear();
  seen.period_asked = false;
  seen.real_time = false;
  EXPECT_EQ(outcome_of(seen, "absolute accuracy"), std::nullopt);
  EXPECT_EQ(outcome_of(seen, "rate"), std::nullopt);
  EXPECT_EQ(outcome_of(seen, "delay"), std::nullopt);
  EXPECT_EQ(outcome_of(seen, "relative accuracy"), Outcome::passed);
}

// A drift shows while the pressure stays; an error that is always the same does not.
TEST(Limits, RelativePressureIsOfSecondsAgainstEachOther) {
  Observation seen = sound(sensor_type::pressure);
  shift(&seen, 150, 2000);  // a second without any
  for (size_t i = 0; i < seen.main.samples.size(); ++i)
    seen.main.samples[i].words[0] = 5 + 0.0005F * static_cast<float>(i);
  EXPECT_EQ(outcome_of(seen, "relative accuracy"), Outcome::passed);
  for (size_t i = 0; i < seen.main.samples.size(); ++i)
    seen.main.samples[i].words[0] = 5 + 0.0007F * static_cast<float>(i);
  EXPECT_EQ(outcome_of(seen, "relative accuracy"), Outcome::failed);
}

TEST(Limits, OneEventIsShortAndTellsNothingElse) {
  for (const size_t count : {size_t{1}, size_t{2}}) {
    Observation seen = sound(sensor_type::accelerometer);
    seen.main.samples.resize(count);
    EXPECT_EQ(outcome_of(seen, "duration"), Outcome::failed);
    for (const char* of_two : {"rate", "gaps", "jitter", "noise", "changes between samples"})
      EXPECT_EQ(outcome_of(seen, of_two).has_value(), count == 2) << of_two;
    seen = sound(sensor_type::pressure);
    seen.main.samples.resize(count);
    EXPECT_EQ(outcome_of(seen, "relative accuracy").has_value(), count == 2);
    seen.period_asked = false;
    record::Attempt attempt;
    judge_sensor(seen, &attempt);
    EXPECT_EQ(attempt.notes.empty(), count == 1) << "that the rate is not known is not worth a word";
  }
}

// A repeated event has the time stamp of the one before; time stamps that stand still altogether pass nothing.
TEST(Limits, RepeatedTimeStampsAreJitter) {
  Observation seen = sound(sensor_type::accelerometer);
  for (size_t i = 1; i < seen.main.samples.size(); i += 2) {
    seen.main.samples[i].timestamp_ns = seen.main.samples[i - 1].timestamp_ns;
  }
  EXPECT_EQ(outcome_of(seen, "jitter"), Outcome::failed);
  for (Sample& sample : seen.main.samples) sample.timestamp_ns = 0;
  EXPECT_EQ(outcome_of(seen, "jitter"), Outcome::failed);
  EXPECT_EQ(outcome_of(seen, "rate"), Outcome::failed);
}

}  // namespace
}  // namespace factory
