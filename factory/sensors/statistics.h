// Mean and standard deviation of a stream of values, in double precision.
#pragma once

#include <cmath>
#include <cstddef>

namespace factory {

class Statistics {
 public:
  void add(double value) {
    ++count_;
    const double delta = value - mean_;
    mean_ += delta / static_cast<double>(count_);
    squares_ += delta * (value - mean_);
  }
  size_t count() const { return count_; }
  double mean() const { return mean_; }
  // Of the population, as the sample window has it.
  double standard_deviation() const { return count_ == 0 ? 0 : std::sqrt(squares_ / static_cast<double>(count_)); }

 private:
  size_t count_ = 0;
  double mean_ = 0;
  double squares_ = 0;
};

}  // namespace factory
