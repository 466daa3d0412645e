// What came of all phones, as a table and as JSON.
#pragma once

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

#include "judge.h"

namespace acceptance {

class Tally {
 public:
  void add(const Case& phone, const Verdict& verdict);
  void add_lost(const Case& phone);  // its process ended before it was judged

  size_t phones() const { return phones_; }
  size_t misses() const { return misses_.size(); }
  // At least 999 of 1000 residuals of good phones lie within their limits. True without any.
  bool residuals_hold() const;

  std::string text() const;
  Json::Value json() const;

 private:
  struct Count {
    int phones = 0;
    int passed = 0;
    int misses = 0;  // phones with one
  };
  struct Spread {
    std::string unit;
    double limit = 0;
    std::vector<double> good;  // of good phones
    double worst = 0;          // of all phones
    uint64_t worst_seed = 0;
    size_t values = 0;
    double percentile() const;
  };
  struct Miss {
    std::string phone;
    std::string what;
  };

  size_t phones_ = 0;
  std::map<Population, Count> counts_;
  std::vector<std::string> order_;  // of the sensors
  std::map<std::string, Spread> spreads_;
  std::vector<Miss> misses_;
};

}  // namespace acceptance
