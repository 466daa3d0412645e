// A bench phone with a panel: its nodes are plain files, and its light sensors see what a script says.
#pragma once

#include <tuple>

#include "bench_phone.h"
#include "device_dir.h"

namespace test {

inline constexpr char kBrightness[] = "/sys/class/leds/lcd-backlight/brightness";
inline constexpr char kMaximum[] = "/sys/class/leds/lcd-backlight/max_brightness";

struct LitPhone {
  LitPhone() {
    device.write(kBrightness, "1");
    device.write(kMaximum, "4095\n");
  }

  _sensor_info& light() { return phone.cal->env_info[1]; }
  _sensor_info& light_pri2() { return phone.cal->env_info[7]; }
  _sensor_info& record(int type) { return type == 5 ? light() : light_pri2(); }

  // What the sensor sees during every run to come: 5 events to settle and those of the run.
  void see(int type, const std::vector<float>& data) {
    phone.queue->script(type == 5 ? 109 : 115, swinging(type, 15, data, 0));
  }
  void refuse_runs() { phone.queue->enable_result = Result::BAD_VALUE; }

  DeviceDir device;
  BenchPhone phone;
};

// What a run is prepared with, and how many events it has seen: period, axes, time-out, samples, variance threshold,
// zero check, bias threshold, events to skip, events seen.
inline auto settings(const _sensor_info& r) {
  return std::tuple(r.period_ms, r.axis_num, r.timeout_s, r.sample_num, r.variance_threshold, +r.zero_variance_check,
                    r.bias_threshold[0], r.skip_num, r.event_count);
}

// The lines of a step at the panel that went well.
inline Lines maximum_lines(int maximum = 4095) {
  return {std::string("E read_int success to open ") + kMaximum + "\n",
          "D read_int max_brightness " + std::to_string(maximum) + "\n"};
}
inline Lines set_lines(int level, bool announced = true) {
  const std::string number = std::to_string(level);
  return (announced ? Lines{"D setbrightness = " + number + "\n"} : Lines{}) +
         Lines{"D write " + number + " to " + kBrightness, "D write_int open fd=N\n",
               std::string("E read_int success to open ") + kBrightness + "\n"};
}

}  // namespace test
