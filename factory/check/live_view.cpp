#include "check/live_view.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"

namespace factory {
namespace {

constexpr double kNsPerS = 1e9;
constexpr double kRecentSeconds = 1;
constexpr size_t kRecentMin = 10;

std::string settling(const LiveState& state) {
  if (!state.settled_since) return "not settled";
  return "settled for " + fixed(state.seconds - *state.settled_since, 1) + " s";
}

// Not-a-number never does.
bool keeps_limit(const LiveState& state, const LiveAxis& axis) { return axis.standard_deviation <= state.noise_limit; }

}  // namespace

double LiveView::seconds_at(const Sample& sample) const {
  return static_cast<double>(sample.timestamp_ns - first_ns_) / kNsPerS;
}

double LiveView::recent_rate_hz() const {
  const double span = seconds() - seconds_at(recent_.front());
  return span > 0 ? static_cast<double>(recent_.size() - 1) / span : 0;
}

void LiveView::add(const Sample& sample) {
  if (events_++ == 0) first_ns_ = sample.timestamp_ns;
  for (size_t i = 0; i < all_.size(); ++i) all_[i].add(value_of(sample, sensor_, i));
  recent_.push_back(sample);
  const double oldest = seconds_at(sample) - kRecentSeconds;
  while (recent_.size() > kRecentMin && seconds_at(recent_[1]) <= oldest) recent_.pop_front();
  if (!at_rest()) {
    settled_since_.reset();
  } else if (!settled_since_) {
    settled_since_ = std::max(0.0, seconds() - kRecentSeconds);
  }
}

// Both halves of what is recent scatter within the limit and have the same mean. Without a limit a hundredth of the
// mean is the same, and so is what chance alone makes of the scatter.
bool LiveView::at_rest() const {
  if (seconds() - seconds_at(recent_.front()) < kRecentSeconds) return false;
  const double limit = noise_limit(sensor_.type, recent_rate_hz());
  const size_t half = recent_.size() / 2;
  const auto middle = recent_.begin() + static_cast<std::ptrdiff_t>(half);
  const PerAxis before = statistics_of(recent_.begin(), middle, sensor_);
  const PerAxis after = statistics_of(middle, recent_.end(), sensor_);
  for (size_t i = 0; i < before.size(); ++i) {
    const double scatter = std::max(before[i].standard_deviation(), after[i].standard_deviation());
    constexpr double kChance = 3;
    // A step within one half makes that one scatter, and is not by chance.
    const double calm = std::min(before[i].standard_deviation(), after[i].standard_deviation());
    const double by_chance = kChance * calm * std::sqrt(2 / static_cast<double>(half));
    const double same = std::isfinite(limit) ? limit : std::max(std::fabs(after[i].mean()) / 100, by_chance);
    if (!(scatter <= limit) || !(std::fabs(after[i].mean() - before[i].mean()) <= same)) return false;
  }
  return true;
}

LiveState LiveView::state(double rate_hz, const PerAxis& values) const {
  // One that goes by the rate is 0 of one event, which tells none.
  double limit = noise_limit(sensor_.type, rate_hz);
  if (limit == 0) limit = std::numeric_limits<double>::infinity();
  LiveState out{sensor_, seconds(), events_, rate_hz, limit, {}, settled_since_};
  for (size_t i = 0; i < values.size() && events_ > 0; ++i)
    out.axes.push_back(
        {sensor_.axes[i], value_of(recent_.back(), sensor_, i), values[i].mean(), values[i].standard_deviation()});
  return out;
}

LiveState LiveView::now() const {
  return state(recent_.empty() ? 0 : recent_rate_hz(), statistics_of(recent_.begin(), recent_.end(), sensor_));
}

LiveState LiveView::summary() const {
  return state(seconds() > 0 ? static_cast<double>(events_ - 1) / seconds() : 0, all_);
}

std::string live_line(const LiveState& state) {
  std::string out = fixed(state.seconds, 1) + " s ";
  for (const LiveAxis& axis : state.axes) {
    out += " " + axis.name + " " + plain(axis.value) + " (mean " + plain(axis.mean) + ", sd " +
           plain(axis.standard_deviation) + (keeps_limit(state, axis) ? "" : " HIGH") + ")";
  }
  if (*state.sensor.unit != '\0') out += std::string(" ") + state.sensor.unit;
  if (std::isfinite(state.noise_limit)) out += "  sd limit " + plain(state.noise_limit);
  return out + "  " + fixed(state.rate_hz, 1) + " Hz  " + settling(state);
}

Json::Value live_json(const LiveState& state, bool summary) {
  Json::Value out = json_object({{"schema", "sensorcal.watch/1"},
                                 {"summary", summary},
                                 {"seconds", state.seconds},
                                 {"events", state.events},
                                 {"rate_hz", state.rate_hz},
                                 {"unit", state.sensor.unit},
                                 {"settled", state.settled_since.has_value()}},
                                sensor_json(state.sensor.type));
  if (state.settled_since) out["settled_since"] = json_number(*state.settled_since);
  out["axes"] = json_list(state.axes, [&](const LiveAxis& axis) {
    Json::Value entry = json_object({{"name", axis.name},
                                     {"value", static_cast<float>(axis.value)},
                                     {"mean", axis.mean},
                                     {"standard_deviation", axis.standard_deviation}});
    if (std::isfinite(state.noise_limit)) {
      entry["limit"] = json_number(state.noise_limit);
      entry["within"] = keeps_limit(state, axis);
    }
    return entry;
  });
  return out;
}

std::string live_block(const LiveState& state, const std::string& title) {
  const bool limited = std::isfinite(state.noise_limit);
  std::vector<std::vector<std::string>> rows = {{title, "value", "mean", "std dev"}};
  for (const LiveAxis& axis : state.axes) {
    const std::string scatter = plain(axis.standard_deviation);
    rows.push_back({axis.name, plain(axis.value), plain(axis.mean),
                    !limited                   ? scatter
                    : keeps_limit(state, axis) ? good(scatter)
                                               : bad(scatter)});
  }
  // A line that the terminal broke by itself would be counted as one, and left behind when the block is drawn anew.
  const auto line = [columns = terminal_columns()](const std::string& text) {
    return text.empty() ? "" : wrapped(text, columns) + "\n";
  };
  std::string about = *state.sensor.unit == '\0' ? "" : std::string("in ") + state.sensor.unit;
  if (limited) about += (about.empty() ? "" : ", ") + ("limit of the std dev " + plain(state.noise_limit));
  return table(rows) + line(about) +
         line(fixed(state.seconds, 1) + " s, " + std::to_string(state.events) + " events, " + fixed(state.rate_hz, 1) +
              " Hz, " + (state.settled_since ? good(settling(state)) : bad(settling(state))));
}

}  // namespace factory
