#include "phone/sensors/sensor.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace phone {
namespace {

using ::android::hardware::sensors::V1_0::SensorType;

constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerS = 1000000000;
// At unlimited speed, after each enabling.
constexpr int64_t kSilentAfterNs = 60 * kNsPerS;

// The run-time bias follows the mean of what came while the phone was at rest, at last over so many samples.
constexpr int kBiasSamples = 100;
constexpr float kRestLimitRadS = 0.6F;
constexpr float kRestVibration = 0.05F;

constexpr int kWrongHandle = 9999;
constexpr int kWrongType = 1999999;

bool at_rest(const World& world) {
  const auto still = [](float rate) { return std::abs(rate) < 1e-3F; };
  return std::all_of(std::begin(world.rotation_rad_s), std::end(world.rotation_rad_s), still) &&
         world.vibration_m_s2 < kRestVibration;
}

}  // namespace

Sensor::Sensor(Config config)
    : config_(std::move(config)),
      draws_(Draws(config_.seed).of("sensor").of(static_cast<uint64_t>(config_.entry->type)).of(config_.opening)),
      errors_(draw_errors(*config_.entry->chip, Draws(config_.seed))),
      with_panel_(config_.entry->chip->panel_lux > 0),
      faults_([this] {
        const auto find = [this](FaultId id) { return config_.faults->find(id, config_.entry->type); };
        return FaultSet{.silent = find(FaultId::silent),
                        .stuck = find(FaultId::stuck),
                        .motion = find(FaultId::motion),
                        .drift = find(FaultId::drift),
                        .out_of_range = find(FaultId::out_of_range),
                        .not_a_number = find(FaultId::not_a_number),
                        .late = find(FaultId::late),
                        .burst = find(FaultId::burst),
                        .wrong_handle = find(FaultId::wrong_handle),
                        .wrong_type = find(FaultId::wrong_type)};
      }()) {}

void Sensor::set_rate(int64_t period_ns, bool panel_uncorrected) {
  period_ns_ = period_ns;
  panel_uncorrected_ = panel_uncorrected;
}

void Sensor::enable(int64_t now_ns) {
  if (kept_.empty()) kept_.resize(kKept);
  const int64_t startup_ns = on_ ? 0 : static_cast<int64_t>(config_.entry->chip->startup_ms * kNsPerMs);
  on_ = true;
  ++enablings_;
  samples_ = 0;
  near_told_ = false;
  enabled_ns_ = now_ns;
  silent_after_ns_ = config_.falls_silent ? now_ns + kSilentAfterNs : kNever;
  if (config_.source) {
    config_.source->enabled(period_ns_);
    next_raw_ = config_.source->next(-1);
    next_ns_ = next_raw_ ? now_ns + startup_ns + next_raw_->time_ns : kNever;
  } else {
    next_ns_ = now_ns + startup_ns + period_ns_;
  }
}

void Sensor::disable() {
  on_ = false;
  next_ns_ = kNever;
}

void Sensor::reboot() {
  runtime_bias_ = {};
  runtime_samples_ = 0;
  near_ = false;
}

int64_t Sensor::deliver_at(int64_t sample_ns) const {
  if (faults_.burst != nullptr) {
    // A burst comes with its last sample.
    const int64_t length_ns = static_cast<int64_t>(faults_.burst->amount) * period_ns_;  // of one or more
    const int64_t since_ns = std::max<int64_t>(sample_ns - enabled_ns_, 1);
    sample_ns = enabled_ns_ + (since_ns + length_ns - 1) / length_ns * length_ns;
  }
  if (faults_.late != nullptr) sample_ns += static_cast<int64_t>(faults_.late->amount * kNsPerMs);
  return sample_ns;
}

int64_t Sensor::due_ns(uint64_t number, int64_t not_before_ns) const {
  const uint64_t oldest = produced_ > kKept ? produced_ - kKept : 0;
  for (uint64_t i = std::max(number, oldest); i < produced_; ++i) {
    const int64_t time_ns = kept_[i % kKept].timestamp;
    if (time_ns >= not_before_ns) return deliver_at(time_ns);
  }
  if (faults_.silent != nullptr || next_ns_ == kNever) return kNever;
  int64_t time_ns = next_ns_;
  if (!config_.source && time_ns < not_before_ns) {
    time_ns += (not_before_ns - time_ns + period_ns_ - 1) / period_ns_ * period_ns_;
  }
  return time_ns > silent_after_ns_ ? kNever : deliver_at(time_ns);
}

void Sensor::run_to(int64_t until_ns) {
  while (next_ns_ <= silent_after_ns_ && next_ns_ != kNever && deliver_at(next_ns_) <= until_ns) take_sample();
}

const SensorEvent* Sensor::find(uint64_t* number, int64_t not_before_ns) const {
  const uint64_t oldest = produced_ > kKept ? produced_ - kKept : 0;
  for (*number = std::max(*number, oldest); *number < produced_;) {
    const SensorEvent& event = kept_[(*number)++ % kKept];
    if (event.timestamp >= not_before_ns) return &event;
  }
  return nullptr;
}

void Sensor::take_sample() {
  const Scene scene = config_.surroundings->scene(with_panel_);
  const Values raw = measure(scene);
  const HubView view{
      .hub = &config_.surroundings->hub(), .panel_uncorrected = panel_uncorrected_, .recorded = has_source()};
  Values values = reported(entry(), errors_, scene, view, raw);
  bool changed = true;
  if (entry().type == sensor_type::gyroscope) apply_runtime_bias(scene, &values);
  if (entry().kind == Kind::proximity) changed = apply_proximity(&values);
  if (faults_.not_a_number != nullptr) values.fill(std::numeric_limits<float>::quiet_NaN());
  if (changed) keep(values);
  ++samples_;
  schedule_next();
}

void Sensor::schedule_next() {
  if (!config_.source) {
    next_ns_ += period_ns_;
    return;
  }
  const int64_t base_ns = next_ns_ - next_raw_->time_ns;
  next_raw_ = config_.source->next(next_raw_->time_ns);
  next_ns_ = next_raw_ ? base_ns + next_raw_->time_ns : kNever;
}

// The raw values of the sample that is due.
Values Sensor::measure(const Scene& scene) {
  const Draws draws = draws_.of(enablings_).of(samples_);
  Values raw{};
  if (next_raw_) {
    std::copy_n(next_raw_->value, next_raw_->count, raw.begin());
  } else {
    raw = raw_values(entry(), errors_, scene);
    add_noise(entry(), scene, period_ns_, draws, &raw);
  }
  spoil(next_ns_ - enabled_ns_, draws, &raw);
  return raw;
}

void Sensor::spoil(int64_t since_enabling_ns, const Draws& draws, Values* raw) {
  for (int i = 0; i < raw_words(entry()); ++i) {
    const uint64_t axis = i < entry().values ? static_cast<uint64_t>(i) : 0;
    double off = 0;
    if (faults_.motion != nullptr) off += faults_.motion->amount * draws.of("motion").normal(axis);
    if (faults_.drift != nullptr) off += faults_.drift->amount * static_cast<double>(since_enabling_ns) / kNsPerS;
    if (faults_.out_of_range != nullptr) off += faults_.out_of_range->amount;
    (*raw)[static_cast<size_t>(i)] += per_unit(entry(), i) * static_cast<float>(off);
  }
  if (faults_.stuck == nullptr) return;
  // Zero is as a chip that no longer answers reads: sums of it are exact, so its variance is zero however it is summed.
  const auto value = static_cast<float>(faults_.stuck->amount);
  if (faults_.stuck->word == Fault::kAllWords) raw->fill(value);
  if (faults_.stuck->word != Fault::kAllWords) (*raw)[static_cast<size_t>(faults_.stuck->word)] = value;
}

// A bias estimate of the sensor service's own, on top of the offset.
void Sensor::apply_runtime_bias(const Scene& scene, Values* values) {
  const Hub::BiasEpoch epoch = config_.surroundings->hub().gyroscope_bias_epoch(entry().type);
  if (epoch.relearn != bias_epoch_.relearn || epoch.clear != bias_epoch_.clear) {
    bias_epoch_ = epoch;
    runtime_bias_ = {};
    runtime_samples_ = 0;
  }
  const auto small = [&](int i) { return std::abs((*values)[static_cast<size_t>(i)]) < kRestLimitRadS; };
  const bool rest =
      !has_source() && at_rest(scene.world) && faults_.motion == nullptr && small(0) && small(1) && small(2);
  if (rest) runtime_samples_ = std::min(runtime_samples_ + 1, kBiasSamples);
  for (size_t i = 0; i < 3; ++i) {
    const float error = (*values)[i] - runtime_bias_[i];
    if (rest) runtime_bias_[i] += error / static_cast<float>(runtime_samples_);
    (*values)[i] = error;
  }
}

// Near from the near threshold on, far from the far one down, and in between as before. Reports the first state after
// an enabling and each change.
bool Sensor::apply_proximity(Values* values) {
  const Hub::Proximity thresholds = config_.surroundings->hub().proximity();
  const bool before = near_;
  const double counts = (*values)[0];
  const int64_t far_at = std::min<int64_t>(thresholds.far_threshold, int64_t{thresholds.near_threshold} - 1);
  if (counts >= thresholds.near_threshold) {
    near_ = true;
  } else if (counts <= static_cast<double>(far_at)) {
    near_ = false;
  }
  (*values)[0] = near_ ? 0 : entry().max_range;
  if (near_told_ && near_ == before) return false;
  near_told_ = true;
  return true;
}

void Sensor::keep(const Values& values) {
  SensorEvent& event = kept_[produced_++ % kKept];
  event = {};
  event.timestamp = next_ns_;
  event.sensorHandle = faults_.wrong_handle != nullptr ? kWrongHandle : entry().handle;
  event.sensorType = static_cast<SensorType>(faults_.wrong_type != nullptr ? kWrongType : entry().type);
  std::copy_n(values.begin(), entry().values, event.u.data.data());
}

}  // namespace phone
