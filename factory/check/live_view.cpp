#include "check/live_view.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"

namespace factory {
namespace {

constexpr double kNsPerS = 1e9;
constexpr double kRecentSeconds = 1;
constexpr size_t kRecentMin = 10;

std::string number(double value) { return std::isfinite(value) ? plain(value) : fixed(value, 0); }

bool within(double value, double limit) { return value <= limit; }

std::string settling(const LiveState& state) {
  if (!state.settled_since) return "not settled";
  return "settled for " + fixed(state.seconds - *state.settled_since, 1) + " s";
}

}  // namespace

LiveView::LiveView(Quantity quantity) : quantity_(std::move(quantity)), all_(quantity_.axes.size()) {}

double LiveView::seconds_at(const Sample& sample) const {
  return static_cast<double>(sample.timestamp_ns - first_ns_) / kNsPerS;
}

double LiveView::seconds() const { return recent_.empty() ? 0 : seconds_at(recent_.back()); }

void LiveView::add(const Sample& sample) {
  if (events_++ == 0) first_ns_ = sample.timestamp_ns;
  for (size_t i = 0; i < all_.size(); ++i) all_[i].add(value_of(sample, quantity_, i));
  recent_.push_back(sample);
  const double oldest = seconds_at(sample) - kRecentSeconds;
  while (recent_.size() > kRecentMin && seconds_at(recent_[1]) <= oldest) recent_.pop_front();
}

// Both halves of what is recent scatter within the limit and have the same mean. Without a limit a hundredth of the
// mean is the same, and so is what chance alone makes of the scatter.
bool LiveView::at_rest(double limit) const {
  if (seconds_at(recent_.back()) - seconds_at(recent_.front()) < kRecentSeconds) return false;
  const size_t half = recent_.size() / 2;
  const auto middle = recent_.begin() + static_cast<std::ptrdiff_t>(half);
  const PerAxis before = statistics_of(recent_.begin(), middle, quantity_);
  const PerAxis after = statistics_of(middle, recent_.end(), quantity_);
  for (size_t i = 0; i < before.size(); ++i) {
    const double scatter = std::max(before[i].standard_deviation(), after[i].standard_deviation());
    constexpr double kChance = 3;
    // A step within one half makes that one scatter, and is not by chance.
    const double calm = std::min(before[i].standard_deviation(), after[i].standard_deviation());
    const double by_chance = kChance * calm * std::sqrt(2 / static_cast<double>(half));
    const double same = limit < Limit::kNone ? limit : std::max(std::fabs(after[i].mean()) / 100, by_chance);
    if (!within(scatter, limit) || !within(std::fabs(after[i].mean() - before[i].mean()), same)) return false;
  }
  return true;
}

LiveState LiveView::state(double rate_hz, const PerAxis& values) const {
  LiveState out;
  out.seconds = seconds();
  out.events = events_;
  out.settled_since = settled_since_;
  if (recent_.empty()) return out;
  out.rate_hz = rate_hz;
  out.noise_limit = noise_limit(quantity_.type, rate_hz);
  for (size_t i = 0; i < values.size(); ++i)
    out.axes.push_back(
        {quantity_.axes[i], value_of(recent_.back(), quantity_, i), values[i].mean(), values[i].standard_deviation()});
  return out;
}

LiveState LiveView::now() {
  if (recent_.empty()) return state(0, {});
  const double span = seconds_at(recent_.back()) - seconds_at(recent_.front());
  const double rate_hz = span > 0 ? static_cast<double>(recent_.size() - 1) / span : 0;
  if (!at_rest(noise_limit(quantity_.type, rate_hz))) {
    settled_since_.reset();
  } else if (!settled_since_) {
    settled_since_ = std::max(0.0, seconds() - kRecentSeconds);
  }
  return state(rate_hz, statistics_of(recent_.begin(), recent_.end(), quantity_));
}

LiveState LiveView::summary() const {
  return state(seconds() > 0 ? static_cast<double>(events_ - 1) / seconds() : 0, all_);
}

std::string live_line(const LiveState& state, const Quantity& quantity) {
  std::string out = fixed(state.seconds, 1) + " s ";
  for (const LiveAxis& axis : state.axes) {
    out += " " + axis.name + " " + number(axis.value) + " (mean " + number(axis.mean) + ", sd " +
           number(axis.standard_deviation) + (within(axis.standard_deviation, state.noise_limit) ? "" : " HIGH") + ")";
  }
  if (!quantity.unit.empty()) out += " " + quantity.unit;
  if (state.noise_limit < Limit::kNone) out += "  sd limit " + number(state.noise_limit);
  return out + "  " + fixed(state.rate_hz, 1) + " Hz  " + settling(state);
}

Json::Value live_json(const LiveState& state, const Quantity& quantity, bool summary) {
  Json::Value out = sensor_json(quantity.type);
  out["schema"] = "sensorcal.watch/1";
  out["summary"] = summary;
  out["seconds"] = json_number(state.seconds);
  out["events"] = static_cast<Json::UInt64>(state.events);
  out["rate_hz"] = json_number(state.rate_hz);
  out["unit"] = quantity.unit;
  out["settled"] = state.settled_since.has_value();
  if (state.settled_since) out["settled_since"] = json_number(*state.settled_since);
  Json::Value& axes = out["axes"] = Json::Value(Json::arrayValue);
  for (const LiveAxis& axis : state.axes) {
    Json::Value entry;
    entry["name"] = axis.name;
    entry["value"] = json_number(static_cast<float>(axis.value));
    entry["mean"] = json_number(axis.mean);
    entry["standard_deviation"] = json_number(axis.standard_deviation);
    if (state.noise_limit < Limit::kNone) {
      entry["limit"] = json_number(state.noise_limit);
      entry["within"] = within(axis.standard_deviation, state.noise_limit);
    }
    axes.append(entry);
  }
  return out;
}

std::string live_block(const LiveState& state, const Quantity& quantity, const std::string& title) {
  const bool limited = state.noise_limit < Limit::kNone;
  std::vector<std::vector<std::string>> rows = {{title, "value", "mean", "std dev"}};
  for (const LiveAxis& axis : state.axes) {
    const std::string scatter = number(axis.standard_deviation);
    const bool fits = within(axis.standard_deviation, state.noise_limit);
    rows.push_back({axis.name, number(axis.value), number(axis.mean),
                    !limited ? scatter
                    : fits   ? good(scatter)
                             : bad(scatter)});
  }
  // A line that the terminal broke by itself would be counted as one, and left behind when the block is drawn anew.
  const auto line = [columns = terminal_columns()](const std::string& text) {
    return text.empty() ? "" : wrapped(text, columns) + "\n";
  };
  std::string about = quantity.unit.empty() ? "" : "in " + quantity.unit;
  if (limited) about += (about.empty() ? "" : ", ") + ("limit of the std dev " + number(state.noise_limit));
  return table(rows) + line(about) +
         line(fixed(state.seconds, 1) + " s, " + std::to_string(state.events) + " events, " + fixed(state.rate_hz, 1) +
              " Hz, " + (state.settled_since ? good(settling(state)) : bad(settling(state))));
}

}  // namespace factory
