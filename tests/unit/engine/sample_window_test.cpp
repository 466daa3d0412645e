#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <thread>
#include <vector>

#include "engine/run.h"
#include "log_capture.h"

namespace test {
namespace {

using ::testing::ElementsAre;

_sensor_info window(int axes, int samples) {
  _sensor_info info;
  info.axis_num = axes;
  info.sample_num = samples;
  info.variance_threshold = 4;
  for (float& limit : info.bias_threshold) limit = 2;
  return info;
}

int feed(_sensor_info* info, std::vector<float> sample) { return cal_process_sample(info, sample.data()); }

TEST(SampleWindowTest, RestartsAxisByAxisInTheOrderVarianceZeroBias) {
  const std::string restart = ", restarting algorithm. index: ", bias = "High BIAS found" + restart;
  const struct {
    std::vector<float> first, second;
    int result;
    std::string line;
  } cases[] = {
      {{0, 0}, {4.2F, 0}, 3, "Variance exceeded" + restart + "0; variance:    4.4100; variance threshold:    4.0000"},
      {{3, 0}, {3, 0}, 4, "Zero variance found" + restart + "0; variance:    0.0000"},  // its bias is too high as well
      {{-2, 0}, {-3, 1}, 5, bias + "0; sum   -5.0000, numsamples 2, bias:   -2.5000, threshold:    2.0000"},
      // Axis 0 fails by its bias before axis 1 is looked at; a high variance comes before a high bias.
      {{2, 0}, {3, 9}, 5, bias + "0; sum    5.0000, numsamples 2, bias:    2.5000, threshold:    2.0000"},
      {{0, 10}, {1, 20}, 3, "Variance exceeded" + restart + "1; variance:   25.0000; variance threshold:    4.0000"},
  };
  for (const auto& c : cases) {
    _sensor_info info = window(2, 2);
    info.zero_variance_check = 1;
    info.event_count = 7;
    LogCapture log;
    EXPECT_EQ(feed(&info, c.first), 1);
    EXPECT_EQ(feed(&info, c.second), c.result);
    EXPECT_THAT(library_lines(log), ElementsAre("E cal_process_sample: " + c.line));
    EXPECT_EQ(info.sample_count, 0);
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.event_count, 7);
    // The next window starts from nothing.
    EXPECT_EQ(feed(&info, {0.5F, 0.5F}), 1);
    EXPECT_EQ(feed(&info, {1.5F, 1.5F}), 2);
    EXPECT_EQ(info.mean[0], 1);
  }
}

TEST(SampleWindowTest, TheLimitsThemselvesPass) {
  _sensor_info info = window(1, 2);
  EXPECT_EQ(feed(&info, {0}), 1);
  EXPECT_EQ(feed(&info, {4}), 2);
  EXPECT_EQ(info.variance[0], 4);
  EXPECT_EQ(info.mean[0], 2);
}

// Rounding can bring a variance below zero: it is not zero, and passes.
TEST(SampleWindowTest, AVarianceBelowZeroPasses) {
  _sensor_info info = window(1, 5);
  info.zero_variance_check = 1;
  info.bias_threshold[0] = 1e3F;
  for (int i = 1; i < 5; ++i) EXPECT_EQ(feed(&info, {289.875F}), 1);
  EXPECT_EQ(feed(&info, {289.875F}), 2);
  EXPECT_LT(info.variance[0], 0);
}

// The waiting side may declare a time-out while the last sample is judged: exactly one of the two ends the run. Whoever
// sees a run finished finds its means.
TEST(SampleWindowTest, ARunEndsOnceAndItsMeansAreThereBefore) {
  constexpr int kRuns = 20000;
  _sensor_info info = window(10, 1);
  std::atomic<int> begun{0};
  std::atomic<int> seen{0};
  int timed_out = 0;
  int without_mean = 0;
  std::thread waiter([&] {
    for (int run = 1; run <= kRuns; ++run) {
      while (begun != run) {
      }
      // Every other run is left to finish, watched.
      while (run % 2 == 0 && __atomic_load_n(&info.status, __ATOMIC_ACQUIRE) == 0) {
      }
      int32_t running = 0;
      if (__atomic_compare_exchange_n(&info.status, &running, 1, false, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE)) {
        ++timed_out;
      } else if (info.mean[0] != 1.0F || info.mean[9] != 1.0F) {
        ++without_mean;
      }
      seen = run;
    }
  });
  int finished = 0;
  for (int run = 1; run <= kRuns; ++run) {
    info.sample_count = 0;
    std::fill(std::begin(info.mean), std::end(info.mean), 7.0F);
    __atomic_store_n(&info.status, 0, __ATOMIC_RELEASE);
    begun = run;
    if (feed(&info, std::vector<float>(10, 1.0F)) == 2) ++finished;
    while (seen != run) {
    }
  }
  waiter.join();
  EXPECT_EQ(finished + timed_out, kRuns);
  EXPECT_EQ(without_mean, 0);
}

TEST(SampleWindowTest, OddSettingsAreDefined) {
  _sensor_info info = window(1000, 1);  // no more axes than a record has
  std::vector<float> ten(10, 1.0F);
  EXPECT_EQ(feed(&info, ten), 2);
  info = window(1, 0);  // never full
  info.sample_count = INT32_MAX;
  EXPECT_EQ(feed(&info, {1}), 1);
  EXPECT_EQ(info.sample_count, INT32_MAX);
}

}  // namespace
}  // namespace test
