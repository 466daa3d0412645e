// One listed sensor while it runs: its samples, in the order in which they are taken.
#pragma once

#include <android/hardware/sensors/1.0/types.h>

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "phone/faults/faults.h"
#include "phone/sensors/model.h"
#include "phone/sensors/sample_source.h"

namespace phone {

inline constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

using SensorEvent = ::android::hardware::sensors::V1_0::Event;

// What a sensor needs of the phone around it. Any thread may call.
class Surroundings {
 public:
  virtual ~Surroundings() = default;
  virtual Scene scene(bool with_panel) = 0;
  virtual const Hub& hub() = 0;
};

// A sensor runs while somebody watches it. Every enabling, whoever's it is, starts its grid of samples anew, so that
// what a client sees after its own enabling does not depend on how long others were watching. Guarded by the stage's
// mutex, all of it.
class Sensor {
 public:
  struct Config {
    const SensorEntry* entry = nullptr;
    Surroundings* surroundings = nullptr;
    const Faults* faults = nullptr;
    uint64_t seed = 0;
    uint32_t opening = 0;  // how often the phone's directory has been opened
    bool falls_silent = false;
    std::unique_ptr<SampleSource> source;  // in place of the model; may be null
  };
  explicit Sensor(Config config);

  const SensorEntry& entry() const { return *config_.entry; }
  const Errors& errors() const { return errors_; }
  bool has_source() const { return config_.source != nullptr; }

  // The fastest period that anybody asks for, and whether somebody asks for the factory's backlight period.
  void set_rate(int64_t period_ns, bool panel_uncorrected);
  // Somebody's enabling, after set_rate().
  void enable(int64_t now_ns);
  void disable();
  void reboot();

  // Samples have numbers, for ever; the newest few are kept.
  uint64_t produced() const { return produced_; }
  // The time at which the first sample from `number` on and not earlier than `not_before_ns` is there; kNever when
  // there will be none.
  int64_t due_ns(uint64_t number, int64_t not_before_ns) const;
  // Takes the samples that are to be delivered up to and including `until_ns`.
  void run_to(int64_t until_ns);
  // The first kept sample from `*number` on that is not earlier than `not_before_ns`; moves *number behind it.
  const SensorEvent* find(uint64_t* number, int64_t not_before_ns) const;

 private:
  static constexpr uint64_t kKept = 64;

  struct FaultSet {
    const Fault *silent, *stuck, *motion, *drift, *out_of_range, *not_a_number, *late, *burst, *wrong_handle,
        *wrong_type;
  };

  int64_t deliver_at(int64_t sample_ns) const;
  void take_sample();
  void schedule_next();
  Values measure(const Scene& scene);
  void spoil(int64_t since_enabling_ns, const Draws& draws, Values* raw);
  void apply_runtime_bias(const Scene& scene, Values* values);
  bool apply_proximity(Values* values);
  void keep(const Values& values);

  const Config config_;
  const Draws draws_;
  const Errors errors_;
  const bool with_panel_;
  const FaultSet faults_;

  bool on_ = false;
  bool panel_uncorrected_ = false;
  int64_t period_ns_ = 0;
  int64_t enabled_ns_ = 0;
  int64_t next_ns_ = kNever;  // never while it is off
  int64_t silent_after_ns_ = kNever;
  uint32_t enablings_ = 0;
  uint64_t samples_ = 0;  // since the enabling
  std::optional<RawSample> next_raw_;

  std::vector<SensorEvent> kept_;  // made at the first enabling
  uint64_t produced_ = 0;

  std::array<float, 3> runtime_bias_{};
  int runtime_samples_ = 0;
  Hub::BiasEpoch bias_epoch_;
  bool near_ = false;
  bool near_told_ = false;  // since the enabling
};

}  // namespace phone
