// What a person who watches a sensor is told.
#include "check/live_view.h"

#include <SensorType.h>
#include <gtest/gtest.h>

#include "samples.h"

namespace factory {
namespace {

constexpr double kPeriodMs = 20;

TEST(LiveView, SettlesOnceASecondIsQuietAndForgetsWhatWasBefore) {
  LiveView view(events_of(sensor_type::accelerometer));
  for (const Sample& sample : swinging(100, kPeriodMs, 5, 1)) view.add(sample);
  EXPECT_FALSE(view.now().settled_since);
  const int64_t rest_ns = 2000000000;
  for (const Sample& sample : swinging(40, kPeriodMs, 9.8F, 0.02F, rest_ns)) view.add(sample);
  EXPECT_FALSE(view.now().settled_since) << "part of the last second was not at rest";
  for (const Sample& sample : swinging(20, kPeriodMs, 9.8F, 0.02F, rest_ns + 800000000)) view.add(sample);
  const LiveState state = view.now();
  ASSERT_TRUE(state.settled_since);
  EXPECT_NEAR(*state.settled_since, 2, 0.03);
  EXPECT_NEAR(state.axes[2].mean, 9.8, 1e-3);
  EXPECT_NEAR(state.axes[2].standard_deviation, 0.02, 1e-3);
  EXPECT_NEAR(state.rate_hz, 50, 0.1);
  EXPECT_NEAR(view.summary().axes[0].standard_deviation, 2.4, 0.1) << "of all samples";
}

// Quiet, but on its way: the scatter is within the limit and the halves of a second are not.
TEST(LiveView, ASlowDriftIsNotSettled) {
  LiveView view(events_of(sensor_type::pressure));
  std::vector<Sample> samples = swinging(100, kPeriodMs, 1013, 0);
  for (size_t i = 0; i < samples.size(); ++i) samples[i].words[0] += 0.006F * static_cast<float>(i);
  for (const Sample& sample : samples) view.add(sample);
  const LiveState state = view.now();
  EXPECT_LT(state.axes[0].standard_deviation, state.noise_limit);
  EXPECT_FALSE(state.settled_since);
}

// Light has no limit of its own to scatter: a lamp that is switched within the last second is no rest, noise alone is.
TEST(LiveView, AStepIsNotSettledWithoutALimitEither) {
  for (size_t at = 55; at <= 100; at += 5) {  // 100: never
    LiveView view(events_of(sensor_type::light));
    std::vector<Sample> samples = swinging(100, kPeriodMs, 18, 1);
    for (size_t i = at; i < samples.size(); ++i) samples[i].words[0] += 1860;
    for (const Sample& sample : samples) view.add(sample);
    EXPECT_EQ(view.now().settled_since.has_value(), at == 100) << at;
  }
}

TEST(LiveView, NotANumberNeverSettles) {
  for (const int type : {sensor_type::accelerometer, sensor_type::light}) {
    LiveView view(events_of(type));
    for (const Sample& sample : swinging(100, kPeriodMs, std::numeric_limits<float>::quiet_NaN(), 0)) view.add(sample);
    EXPECT_FALSE(view.now().settled_since) << type;
  }
}

}  // namespace
}  // namespace factory
