// One three-axis sample through the sample window, against the usual library for running statistics.
#pragma once

#include <array>
#include <boost/accumulators/accumulators.hpp>
#include <boost/accumulators/statistics/mean.hpp>
#include <boost/accumulators/statistics/stats.hpp>
#include <boost/accumulators/statistics/variance.hpp>
#include <cmath>

#include "engine/run.h"

namespace bench {

inline constexpr int kWindow = 50;  // samples of an inertial run
inline constexpr int kInputs = 256;

using Input = std::array<float, 3>;

// A noisy phone at rest.
inline std::array<Input, kInputs> make_inputs() {
  std::array<Input, kInputs> inputs{};
  for (int i = 0; i < kInputs; ++i) {
    const auto swing = static_cast<float>(std::sin(i * 12.9898)) * 0.01F;
    inputs[static_cast<size_t>(i)] = {0.1F + swing, -0.05F - swing, 0.02F + swing};
  }
  return inputs;
}

inline void prepare(_sensor_info* record) {
  record->axis_num = 3;
  record->sample_num = kWindow;
  record->variance_threshold = 10;
  record->zero_variance_check = 1;
  for (float& limit : record->bias_threshold) limit = 20;
}

// A run that has finished starts anew.
inline void rearm(_sensor_info* record) {
  record->status = 0;
  record->sample_count = 0;
}

class WindowRow {
 public:
  WindowRow() { prepare(&record_); }

  void ours() {
    if (cal_process_sample(&record_, inputs_[next_++ % kInputs].data()) == 2) rearm(&record_);
  }

  // The same sums, read out at the end of every window.
  void theirs() {
    const Input& input = inputs_[next_++ % kInputs];
    for (size_t axis = 0; axis < 3; ++axis) axes_[axis](input[axis]);
    if (boost::accumulators::count(axes_[0]) < kWindow) return;
    for (size_t axis = 0; axis < 3; ++axis) {
      mean_[axis] = boost::accumulators::mean(axes_[axis]);
      variance_[axis] = boost::accumulators::variance(axes_[axis]);
    }
    axes_ = {};
  }

 private:
  using Axis = boost::accumulators::accumulator_set<
      float, boost::accumulators::stats<boost::accumulators::tag::mean, boost::accumulators::tag::variance>>;

  std::array<Input, kInputs> inputs_ = make_inputs();
  size_t next_ = 0;
  _sensor_info record_;
  std::array<Axis, 3> axes_;
  std::array<float, 3> mean_{}, variance_{};
};

}  // namespace bench
