// What a person who watches a sensor wants to see: its values now, how they scatter, its rate, and whether it is at
// rest.
#pragma once

#include <json/json.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "check/limits.h"

namespace factory {

struct LiveAxis {
  std::string name;
  double value = 0;  // the newest
  double mean = 0;   // of the last second, or of all in a summary
  double standard_deviation = 0;
};

struct LiveState {
  Sensor sensor;
  double seconds = 0;  // since the first event, in the phone's time
  size_t events = 0;
  double rate_hz = 0;
  double noise_limit = 0;  // of the standard deviation; infinity: none
  std::vector<LiveAxis> axes;
  // Since when, in seconds after the first event, both halves of every second agree and scatter no more than the limit.
  std::optional<double> settled_since;
};

class LiveView {
 public:
  explicit LiveView(const Sensor& sensor) : sensor_(sensor), all_(static_cast<size_t>(sensor.values)) {}

  void add(const Sample& sample);
  size_t events() const { return events_; }
  double seconds() const { return recent_.empty() ? 0 : seconds_at(recent_.back()); }

  LiveState now() const;
  LiveState summary() const;

 private:
  using PerAxis = std::vector<Statistics>;
  double seconds_at(const Sample& sample) const;
  double recent_rate_hz() const;
  LiveState state(double rate_hz, const PerAxis& values) const;
  bool at_rest() const;

  const Sensor sensor_;
  std::deque<Sample> recent_;  // a second, and a few samples at least
  PerAxis all_;
  size_t events_ = 0;
  int64_t first_ns_ = 0;
  std::optional<double> settled_since_;
};

// One line each, without a line feed.
std::string live_line(const LiveState& state);
Json::Value live_json(const LiveState& state, bool summary);
// A table and a line below it.
std::string live_block(const LiveState& state, const std::string& title);

}  // namespace factory
