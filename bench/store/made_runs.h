// Runs of a line, made up from a seed: what a store grows to, without the hours that it takes.
#pragma once

#include <random>

#include "record/record.h"

namespace bench {

struct Line {
  int runs = 20000;
  int days = 90;
  int stations = 50;
  unsigned seed = 1;
};

// Phones arrive in the order of time, by day and in two shifts, at any station. A run has four steps with ten values of
// deciding attempts; of a hundred two need a second attempt and two fail, of which most come again.
class MadeRuns {
 public:
  explicit MadeRuns(const Line& line);

  factory::record::Run next();

 private:
  void set_up(int station, int day, factory::record::Run* run) const;
  factory::record::Step step_of(size_t index, bool retried, factory::record::Clock::time_point started);
  factory::record::Attempt attempt_of(size_t index, int number, bool last);
  std::string id_of(long long ms);
  double normal() { return normal_(random_); }
  bool by_chance(double probability) { return std::uniform_real_distribution<double>(0, 1)(random_) < probability; }

  const Line line_;
  std::mt19937_64 random_;
  std::normal_distribution<double> normal_;
  int made_ = 0;
  int phones_ = 0;
  std::vector<std::string> again_;  // serial numbers that failed
};

}  // namespace bench
