// What is told while it happens: first-pass yield drops, a station differs from the others, a chart cries.
#pragma once

#include <json/json.h>

#include <array>
#include <map>
#include <string>
#include <vector>

#include "quality/statistics.h"

namespace factory::store {

struct Alert {
  std::string kind;                 // "yield", "station", "chart", "marked", "spool"
  std::string about;                // what of, by which one that stands is known again
  std::string text;                 // a sentence
  std::vector<std::string> phones;  // serial numbers that it rests on, each once, 20 at most
  long long since_ms = 0;
  long long more = 0;  // phones that it rests on beside these
};

// A run that judged a phone for the first time in its plan.
struct FirstRun {
  std::string plan, station, serial;
  long long started_ms = 0;
  bool passed = true;
};

/**
 * First-pass yield of each plan against its own beginning, and of each station against the others, by a cumulative sum
 * of log likelihood ratios (Page, "Continuous Inspection Schemes", Biometrika 41, 1954; of fractions: Reynolds and
 * Stoumbos, "A CUSUM Chart for Monitoring a Proportion When Inspecting Continuously", Journal of Quality Technology 31,
 * 1999): failures twice and eight times as frequent as usual against as frequent. As usual is the upper end of
 * Wilson's 80 % interval of the plan's first 2,000 phones, from the 500th on, or of about the other stations' last
 * 2,000, from the 200th on. docs/formats/store.md has how often it is wrong.
 */
class YieldWatch {
 public:
  void add(const FirstRun& run);  // in the order of time
  std::vector<Alert> standing() const;

 private:
  struct Counts {
    double phones = 0, failed = 0;
  };
  // Since it was 0 last.
  struct Sum {
    std::array<double, 2> values{};
    bool stands = false;  // it was over the limit, and failures are not as usual again
    double over = 0;      // how likely they are, against those that it rests on
    long long phones = 0, failed = 0;
    long long since_ms = 0;
    double usual = 0;  // the share of failures that it is held against
    std::vector<std::string> serials;

    void add(const FirstRun& run, const Counts& before);
    Alert alert(const std::string& kind, const std::string& about, const std::string& against) const;
  };
  struct Station {
    Counts recent;
    Sum sum;
  };
  struct Plan {
    Counts beginning;
    Sum sum;
    std::map<std::string, Station> stations;
  };

  std::map<std::string, Plan> plans_;
};

// All that stands now, of the runs that the filter chooses. Throws StoreError, AwayError.
std::vector<Alert> standing_alerts(Database* database, const Filter& filter, const Choices& choices);

Json::Value to_json(const Alert& alert);
std::string to_text(const Alert& alert);

}  // namespace factory::store
