#include "residuals.h"

#include <SensorType.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <memory>
#include <stdexcept>

#include "open_phone.h"
#include "phone/sampler.h"

namespace acceptance {
namespace {

using phone_test::Event;
using namespace sensor_type;  // NOLINT(google-build-using-namespace): the table below is nothing but these names

constexpr size_t kMotionSamples = 500;
constexpr size_t kOtherSamples = 50;
constexpr size_t kSettling = 3;

struct Row {
  const char* sensor;
  int type;            // whose samples are taken
  const char* holder;  // in the hub's store
  const char* value;
  int first_word;
  int axes;
  int period_ms;
  size_t samples;
  double limit;
  bool relative;  // to the truth
  const char* unit;
};
constexpr Row kRows[] = {
    {"Acc", accelerometer, "Acc", "offset", 0, 3, 20, kMotionSamples, 0.02, false, "m/s^2"},
    {"Acc2", accelerometer_second, "Acc2", "offset", 0, 3, 20, kMotionSamples, 0.02, false, "m/s^2"},
    {"Gyr", gyroscope_uncalibrated, "Gyr", "offset", 0, 3, 20, kMotionSamples, 0.00035, false, "rad/s"},
    {"Gyr2", gyroscope_second, "Gyr2", "offset", 0, 3, 20, kMotionSamples, 0.00035, false, "rad/s"},
    {"Bar", pressure, "Bar", "offset", 0, 1, 50, kMotionSamples, 0.12, false, "hPa"},
    {"Lux", light, "Lux", "scale", 0, 1, 100, kOtherSamples, 0.05, true, "of the truth"},
    {"Lux_F", lux_f, "Lux_F", "scale", 0, 1, 100, kOtherSamples, 0.05, true, "of the truth"},
    {"Lux_B", lux_b, "Lux_B", "scale", 0, 1, 100, kOtherSamples, 0.05, true, "of the truth"},
    {"Lux_sec", lux_sec, "Lux_sec", "scale", 0, 1, 100, kOtherSamples, 0.05, true, "of the truth"},
    {"Lux_pri2", lux_pri2, "Lux_pri2", "scale", 0, 1, 100, kOtherSamples, 0.05, true, "of the truth"},
    {"CCT_F_strm", cct_f_stream, "CCT_F", "channel_scales", 2, 5, 100, kOtherSamples, 0.05, true, "of golden"},
    {"CCT_B_strm", cct_b_stream, "CCT_B", "channel_scales", 2, 5, 100, kOtherSamples, 0.05, true, "of golden"},
    {"33171007", light_stream, "Lux", "channel_scales", 1, 5, 100, kOtherSamples, 0.05, true, "of golden"},
};

// A phone at unlimited speed, and a client of its sensor service.
class Bench {
 public:
  Bench(const std::string& directory, const std::vector<std::string>& faults) {
    phone::PhoneOptions options;
    options.faults = faults;
    options.directory = directory;
    options.speed = std::numeric_limits<double>::infinity();
    phone = phone::Phone::open(options);
    client_ = std::make_unique<phone_test::Client>();
  }

  std::vector<Event> take(int type, int period_ms, size_t count) {
    const std::vector<Event> events = client_->collect(type, period_ms * 1000, count);
    if (client_->listener->events().size() < count) throw std::runtime_error(std::to_string(type) + " is silent");
    return events;
  }
  void world(const char* key, const char* value) {
    phone::World world = phone->world();
    const std::string problem = phone::set_world(&world, key, value);
    if (!problem.empty()) throw std::runtime_error(problem);
    phone->set_world(world);
  }
  int panel_maximum() const {
    return std::stoi(test::content(phone->directory() + "/sys/class/leds/lcd-backlight/max_brightness"));
  }
  void panel(int brightness) {
    std::ofstream(phone->directory() + "/sys/class/leds/lcd-backlight/brightness") << brightness;
  }

  std::unique_ptr<phone::Phone> phone;

 private:
  std::unique_ptr<phone_test::Client> client_;
};

// Whether the hub holds something else than what it comes with.
bool holds(const Json::Value& entry, double untouched) {
  if (!entry["set"].asBool()) return false;
  const Json::Value& value = entry["value"];
  if (!value.isArray()) return value.asDouble() != untouched;
  return std::any_of(value.begin(), value.end(), [&](const Json::Value& x) { return x.asDouble() != untouched; });
}

Residual measure(Bench& bench, const Json::Value& hub, const Row& row) {
  const Json::Value& held = hub[row.holder][row.value];
  Residual out{row.sensor, held["set"].asBool(), holds(held, std::string(row.value) == "offset" ? 0 : 1), 0, row.limit,
               row.unit};
  if (!out.set) return out;
  const std::vector<float> truth = bench.phone->truth(row.type);
  const std::vector<Event> events = bench.take(row.type, row.period_ms, kSettling + row.samples);
  for (int axis = 0; axis < row.axes; ++axis) {
    const auto word = static_cast<size_t>(row.first_word + axis);
    factory::Statistics samples;
    for (size_t i = kSettling; i < events.size(); ++i) samples.add(static_cast<double>(events[i].u.data[word]));
    const auto expected = static_cast<double>(truth.at(word));
    const double off = std::fabs(samples.mean() - expected) / (row.relative ? std::fabs(expected) : 1);
    // Not a number is never within a limit.
    out.value = std::isfinite(off) ? std::max(out.value, off) : std::numeric_limits<double>::infinity();
  }
  return out;
}

// Plain light at several brightnesses of the panel, once the hub knows both levels.
Residual measure_panel(Bench& bench, const Json::Value& hub, const char* sensor, int type) {
  const auto stored = [&](const char* value) {
    const Json::Value& levels = hub[sensor][value]["value"];
    return levels.isMember("13") && levels.isMember("14");
  };
  const bool both = stored("backlight") || stored("colour_backlight");
  Residual out{std::string("panel, ") + sensor, both, both, 0, 1, "lux"};
  if (!out.stored) return out;
  double lowest = std::numeric_limits<double>::infinity();
  double highest = -lowest;
  for (const int quarters : {0, 1, 2, 4}) {
    bench.panel(bench.panel_maximum() * quarters / 4);
    const double lux = phone_test::mean(bench.take(type, 100, kOtherSamples), 0);
    lowest = std::min(lowest, lux);
    highest = std::max(highest, lux);
  }
  bench.panel(0);
  out.value = highest - lowest;
  return out;
}

// 0 where the proximity sensor says near at the target and far without it, else 1.
Residual measure_proximity(Bench& bench, const Json::Value& hub) {
  constexpr int kFirstNear = 300;
  const Json::Value& near_threshold = hub["Prx"]["near"];
  Residual out{"Prx", near_threshold["set"].asBool(), holds(near_threshold, kFirstNear), 0, 0.5, "wrong state"};
  if (!out.set) return out;
  for (const bool near : {true, false}) {
    bench.world("target", near ? "3" : "none");
    // The near threshold lies at the target's own counts: within some seconds a sample reaches it.
    constexpr int kLooks = 60;
    bool seen = !near;
    for (int look = 0; look < kLooks && seen != near; ++look) {
      seen = bench.take(proximity, 100, 1).at(0).u.data[0] < 1;
    }
    if (seen != near) out.value = 1;
  }
  return out;
}

}  // namespace

std::vector<Residual> measure_residuals(const std::string& directory, const std::vector<std::string>& faults) {
  Bench bench(directory, faults);
  bench.panel(0);
  const Json::Value hub = bench.phone->hub_state();
  std::vector<Residual> out;
  for (const Row& row : kRows) out.push_back(measure(bench, hub, row));
  out.push_back(measure_proximity(bench, hub));
  out.push_back(measure_panel(bench, hub, "Lux", light));
  out.push_back(measure_panel(bench, hub, "Lux_pri2", lux_pri2));
  return out;
}

Json::Value to_json(const Residual& residual) {
  Json::Value out;
  out["sensor"] = residual.sensor;
  out["value"] = residual.value;
  out["limit"] = residual.limit;
  out["unit"] = residual.unit;
  return out;
}

}  // namespace acceptance
