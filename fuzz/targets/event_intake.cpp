// Event streams with any settings, through records that hold anything: a run finishes once, with every mean within what
// a restart allows, its sensor is disabled then and at no other time, and no other record changes.
#include <algorithm>
#include <cmath>

#include "base/record.h"
#include "support/fake_phone.h"

namespace {

using fuzz::any_float;
using fuzz::any_int;

// What an event may change.
std::string changing(const _sensor_info& r) {
  std::string out;
  const auto add = [&out](const auto& field) { out.append(reinterpret_cast<const char*>(&field), sizeof field); };
  add(r.status), add(r.sample_count), add(r.event_count), add(r.sum), add(r.sum_sq), add(r.variance), add(r.mean);
  return out;
}

void check_finished(const _sensor_info& r) {
  HOLDS(r.sample_count == r.sample_num);
  for (int i = 0; i < std::clamp(r.axis_num, 0, 10); ++i) {
    HOLDS(!(r.variance[i] > r.variance_threshold) && !(std::fabs(r.mean[i]) > r.bias_threshold[i]));
    HOLDS(r.variance[i] != 0 || r.zero_variance_check == 0);
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
  fuzz::sp<fuzz::ScriptedSensors> sensors = new fuzz::ScriptedSensors;
  SensorCalibration* cal = nullptr;
  Phone() {
    fuzz::quiet_log(1);
    sensors->list = test::all_records();
    sensors->registerAsService("default");
    test::FakeHub::install();
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
  const auto [own_type, own_record] =
      test::kDelivering[in.ConsumeIntegralInRange<size_t>(0, std::size(test::kDelivering) - 1)];
  _sensor_info& record = record_at(*phone->cal, own_record);
  const std::string idle = changing(_sensor_info());
  const int handle = record.info.sensorHandle;
  record = _sensor_info();
  record.info.sensorHandle = handle;
  settings(&in, &record);
  phone->sensors->script->disablings = 0;
  signals = 0;
  fuzz::Event event{};
  while (in.remaining_bytes() > 0) {
    // Most streams are a level with small changes.
    const bool own = in.ConsumeIntegralInRange<int>(0, 15) != 0;
    for (size_t i = 0; i < 16; ++i) {
      if (i < 7 && in.ConsumeBool()) event.u.data[i] = any_float(&in);
    }
    event.sensorType = static_cast<fuzz::SensorType>(own ? own_type : fuzz::any_type(&in));
    const bool was_over = record.status != 0;
    const std::string before = changing(record);
    phone->cal->processEvent(event);
    const bool finished = record.status == 2 && !was_over;
    if (finished) check_finished(record);
    bool reached = false;
    for (const auto& [type, number] : test::kDelivering) {
      reached |= type == static_cast<int>(event.sensorType) && number == own_record;
      if (number != own_record) HOLDS(changing(record_at(*phone->cal, number)) == idle);
    }
    HOLDS(reached || changing(record) == before);
    HOLDS(phone->sensors->script->disablings == (record.status == 2 ? 1 : 0) &&
          signals <= (record.status == 2 ? 1 : 0));
  }
  record = _sensor_info();
  record.info.sensorHandle = handle;
  return 0;
}
