// Event streams with any settings: after every event the record must be what a plain second computation makes of it,
// the sensor must be disabled once a finished run and at no other time, and no other record may change.
#include <algorithm>
#include <cmath>

#include "support/fake_phone.h"

namespace {

using fuzz::any_float;
using fuzz::any_int;
using fuzz::same;

constexpr float kGravity = 9.80665F;

enum class Sort { kAcc, kGyro, kUncalibrated, kAcc2, kGyro2, kPressure, kProximity, kColour, kLight, kNone };

struct Sensor {
  int type;
  int record;
  Sort sort;
};

constexpr Sensor kSensors[] = {
    {1, 0, Sort::kAcc},
    {4, 1, Sort::kGyro},
    {16, 3, Sort::kUncalibrated},
    {268369921, 4, Sort::kAcc2},
    {268369924, 7, Sort::kGyro2},
    {6, 17, Sort::kPressure},
    {33171005, 8, Sort::kProximity},
    {33171057, 13, Sort::kColour},
    {33171089, 12, Sort::kColour},
    {5, 9, Sort::kLight},
    {33171007, 9, Sort::kLight},
    {33171054, 10, Sort::kLight},
    {33171055, 11, Sort::kLight},
    {33171085, 11, Sort::kLight},
    {33171081, 14, Sort::kLight},
    {33171082, 14, Sort::kLight},
    {33171080, 15, Sort::kLight},
    {33171084, 15, Sort::kLight},
};

_sensor_info& record_of(SensorCalibration* cal, int record) {
  return record < 8 ? cal->motion_info[record] : cal->env_info[record - 8];
}

// The fields that an event may change, and those that decide how.
struct Model {
  _sensor_info r;
  int finishes = 0;
  int disables = 0;

  bool lit() const { return r.in_backlight_calibrate != 0; }
  bool make_sample(const Sensor& sensor, const float* d, float* s) const;
  int feed(const float* s);
  void take(const Sensor& sensor, const float* d);
};

bool Model::make_sample(const Sensor& sensor, const float* d, float* s) const {
  const auto channels = [&](int first, bool scaled) {
    for (int i = 0; i < std::min(r.axis_num, 10); ++i) s[i] = scaled ? d[first + i] / r.scale[i] : d[first + i];
    return true;
  };
  if (sensor.sort == Sort::kLight) {
    if (lit()) return s[0] = d[0], true;
    if (r.in_lcd_cct_calibrate != 0) return channels(1, true);
    if (r.in_calibrate != 0 && r.axis_num == 5) return channels(1, true);
    if (r.in_calibrate != 0) return s[0] = d[0] / r.scale[0], true;
    return r.in_raw_calibrate != 0 && channels(1, false);
  }
  if (sensor.sort == Sort::kColour && r.in_calibrate == 0) return r.in_raw_calibrate != 0 && channels(2, false);
  if (r.in_calibrate == 0) return false;
  switch (sensor.sort) {
    case Sort::kColour:
      return channels(2, true);
    case Sort::kProximity:
      s[0] = d[0];
      return true;
    case Sort::kPressure:
      s[0] = d[0] + r.offset[0] - r.reference;
      return true;
    default:
      for (int i = 0; i < 3; ++i) s[i] = d[i] + r.offset[i];
      if (sensor.sort == Sort::kAcc) s[2] = d[2] + r.offset[2] - kGravity;
      if (sensor.sort == Sort::kAcc2) s[2] = d[2] + r.offset[2] + kGravity;
      return true;
  }
}

// 2 when the run finishes with this sample, else anything.
int Model::feed(const float* s) {
  if (r.status != 0) return 1;
  const int n = std::clamp(r.axis_num, 0, 10);
  if (r.sample_count == 0) {
    std::fill_n(r.sum, n, 0.0F);
    std::fill_n(r.sum_sq, n, 0.0F);
    std::fill_n(r.variance, n, 0.0F);
  }
  if (r.sample_count < INT32_MAX) ++r.sample_count;
  for (int i = 0; i < n; ++i) {
    r.sum[i] = r.sum[i] + s[i];
    r.sum_sq[i] = r.sum_sq[i] + s[i] * s[i];
  }
  if (r.sample_count != r.sample_num) return 1;
  const auto count = static_cast<float>(r.sample_count);
  for (int i = 0; i < n; ++i) {
    r.variance[i] = (r.sum_sq[i] - r.sum[i] * r.sum[i] / count) / count;
    const bool still = r.variance[i] == 0 && r.zero_variance_check != 0;
    if (r.variance[i] > r.variance_threshold || still || std::fabs(r.sum[i] / count) > r.bias_threshold[i]) {
      r.sample_count = 0;
      return 3;
    }
  }
  for (int i = 0; i < n; ++i) r.mean[i] = r.sum[i] / count;
  r.status = 2;
  return 2;
}

void Model::take(const Sensor& sensor, const float* d) {
  float s[10] = {};
  if (!make_sample(sensor, d, s)) return;
  const int before = r.event_count;
  if (r.event_count < INT32_MAX) ++r.event_count;
  if (sensor.sort != Sort::kGyro && before < r.skip_num) return;
  if (feed(s) != 2) return;
  ++disables;
  const bool silent = sensor.sort == Sort::kLight && lit() && r.backlight_retry != 0 && r.retry_count < 2 &&
                      !(r.mean[0] > 0 && r.mean[0] < 10);
  if (!silent) ++finishes;
}

void compare(const _sensor_info& a, const _sensor_info& b) {
  HOLDS(a.status == b.status && a.sample_count == b.sample_count && a.event_count == b.event_count);
  for (int i = 0; i < 10; ++i) {
    HOLDS(same(a.sum[i], b.sum[i]) && same(a.sum_sq[i], b.sum_sq[i]));
    HOLDS(same(a.variance[i], b.variance[i]) && same(a.mean[i], b.mean[i]));
    HOLDS(same(a.offset[i], b.offset[i]) && same(a.scale[i], b.scale[i]));
  }
}

void settings(FuzzedDataProvider* in, _sensor_info* r) {
  const auto flag = [in] { return static_cast<uint8_t>(in->ConsumeIntegralInRange<int>(0, 5) == 0 ? 1 : 0); };
  r->in_calibrate = in->ConsumeBool() ? 1 : 0;
  r->in_raw_calibrate = flag();
  r->in_backlight_calibrate = flag();
  r->in_lcd_cct_calibrate = flag();
  r->backlight_retry = flag();
  r->zero_variance_check = flag();
  r->retry_count = in->ConsumeIntegralInRange<int>(0, 3);
  r->axis_num = in->ConsumeBool() ? in->ConsumeIntegralInRange<int>(1, 10) : any_int(in);
  r->sample_num = in->ConsumeBool() ? in->ConsumeIntegralInRange<int>(1, 10) : any_int(in);
  r->skip_num = in->ConsumeIntegralInRange<int>(-1, 4);
  r->event_count = in->ConsumeIntegralInRange<int>(0, 9) == 0 ? any_int(in) : 0;
  r->status = in->ConsumeIntegralInRange<int>(0, 9) == 0 ? 1 : 0;
  r->variance_threshold = any_float(in);
  r->reference = any_float(in);
  for (int i = 0; i < 10; ++i) {
    r->bias_threshold[i] = i < 5 ? any_float(in) : 1000.0F;
    r->offset[i] = i < 3 ? any_float(in) : 0.0F;
    r->scale[i] = i < 5 ? any_float(in) : 1.0F;
  }
}

struct Phone {
  ::android::sp<fuzz::ScriptedSensors> sensors = new fuzz::ScriptedSensors;
  ::android::sp<fuzz::ScriptedHub> hub = new fuzz::ScriptedHub;
  SensorCalibration* cal = nullptr;
  Phone() {
    fuzz::quiet_log(1);
    sensors->list = fuzz::all_sensors();
    sensors->registerAsService("default");
    hub->registerAsService("default");
    cal = new SensorCalibration;
    HOLDS(cal->initCheck() == 0);
  }
};

int signals = 0;

}  // namespace

// Counts how often a run is announced. Nobody waits here.
extern "C" int pthread_cond_signal(pthread_cond_t* cond) noexcept {
  ++signals;
  return pthread_cond_broadcast(cond);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Phone* const phone = new Phone;
  fuzz::quiet_log(size);
  FuzzedDataProvider in(data, size);
  const Sensor& sensor = kSensors[in.ConsumeIntegralInRange<size_t>(0, std::size(kSensors) - 1)];
  _sensor_info& record = record_of(phone->cal, sensor.record);
  const _sensor_info idle;
  const int handle = record.info.sensorHandle;
  _sensor_info fresh;
  fresh.info.sensorHandle = handle;
  settings(&in, &fresh);
  record = fresh;
  Model model{fresh};
  phone->sensors->queue->disablings = 0;
  signals = 0;
  fuzz::Event event{};
  while (in.remaining_bytes() > 0) {
    // Most streams are a level with small changes.
    const bool own = in.ConsumeIntegralInRange<int>(0, 15) != 0;
    for (size_t i = 0; i < 16; ++i) {
      if (i < 7 && in.ConsumeBool()) event.u.data[i] = any_float(&in);
    }
    event.sensorType = static_cast<fuzz::SensorType>(own ? sensor.type : fuzz::any_type(&in));
    phone->cal->processEvent(event);
    const int type = static_cast<int>(event.sensorType);
    for (const Sensor& other : kSensors) {
      if (other.type != type) continue;
      if (other.record == sensor.record) {
        model.take(other, event.u.data.data());
      } else {
        compare(record_of(phone->cal, other.record), idle);
      }
    }
    compare(record, model.r);
    HOLDS(phone->sensors->queue->disablings == model.disables && signals == model.finishes);
    HOLDS(model.disables <= 1);
  }
  record = _sensor_info();
  record.info.sensorHandle = handle;
  return 0;
}
