// Takes sensor events: routes each by its type to a record, turns it into a sample as the record's mode asks, and feeds
// the sample window. Runs on the event queue's thread, one event at a time.
#define LOG_TAG "libsensor_cal"
#include <algorithm>

#include "base/log.h"
#include "base/numbers.h"
#include "engine/run.h"

using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hardware::sensors::V1_0::Event;

namespace {

constexpr float kGravity = 9.80665F;
constexpr int kScaleChannels = 5;
constexpr int kRetriesEnd = 2;

enum class Rule { kInertial, kPressure, kProximity, kColour, kLight };

// Which record an event feeds and how it becomes a sample.
struct Route {
  int type;
  Record record;
  Rule rule;
  const char* line;  // inertial rows: the log line of the values
  float gravity;     // inertial rows: added to z; the second accelerometer is mounted the other way up
  bool settles;      // whether the run's first events are skipped; the gyroscope's are deliberately not
};

constexpr Route kRoutes[] = {
    {sensor_type::accelerometer, kRecordAcc, Rule::kInertial, "SENSOR_TYPE_ACCELEROMETER data: {%f, %f, %f}", -kGravity,
     true},
    {sensor_type::gyroscope, kRecordGyro, Rule::kInertial, "ASENSOR_TYPE_GYROSCOPE data: {%f, %f, %f}", 0, false},
    {sensor_type::gyroscope_uncalibrated, kRecordGyroUncalibrated, Rule::kInertial,
     "SENSOR_TYPE_GYROSCOPE_UNCALIBRATED data: {%f, %f, %f}", 0, true},
    {sensor_type::accelerometer_second, kRecordAcc2, Rule::kInertial,
     "QTI_SENSOR_TYPE_ACCELEROMETER data: {%f, %f, %f}", kGravity, true},
    {sensor_type::gyroscope_second, kRecordGyro2, Rule::kInertial, "QTI_SENSOR_TYPE_GYROSCOPE data: {%f, %f, %f}", 0,
     true},
    {sensor_type::pressure, kRecordPressure, Rule::kPressure, "", 0, true},
    {sensor_type::proximity_stream, kRecordProximity, Rule::kProximity, "", 0, true},
    {sensor_type::cct_b_stream, kRecordCctB, Rule::kColour, "", 0, true},
    {sensor_type::cct_f_stream, kRecordCctF, Rule::kColour, "", 0, true},
    {sensor_type::light, kRecordLight, Rule::kLight, "", 0, true},
    {sensor_type::light_stream, kRecordLight, Rule::kLight, "", 0, true},
    {sensor_type::lux_f, kRecordLuxF, Rule::kLight, "", 0, true},
    {sensor_type::lux_b, kRecordLuxB, Rule::kLight, "", 0, true},
    {sensor_type::lux_b_stream, kRecordLuxB, Rule::kLight, "", 0, true},
    {sensor_type::lux_sec, kRecordLuxSec, Rule::kLight, "", 0, true},
    {sensor_type::lux_sec_stream, kRecordLuxSec, Rule::kLight, "", 0, true},
    {sensor_type::lux_pri2, kRecordLuxPri2, Rule::kLight, "", 0, true},
    {sensor_type::lux_pri2_stream, kRecordLuxPri2, Rule::kLight, "", 0, true},
};

const Route* find_route(int type) {
  const auto* found =
      std::find_if(std::begin(kRoutes), std::end(kRoutes), [&](const Route& r) { return r.type == type; });
  return found == std::end(kRoutes) ? nullptr : found;
}

struct Sample {
  float value[kAxes] = {};
};

int axes_of(const _sensor_info& record) { return std::min<int>(record.axis_num, kAxes); }

void copy_raw(const _sensor_info& record, const float* data, Sample* sample) {
  for (int i = 0; i < axes_of(record); ++i) sample->value[i] = data[i];
}

void divide_by_scale(const _sensor_info& record, const float* data, Sample* sample) {
  for (int i = 0; i < axes_of(record); ++i) sample->value[i] = data[i] / record.scale[i];
}

void log_inputs(const _sensor_info& record, const Sample& sample, int channels) {
  for (int i = 0; i < channels; ++i) {
    LOGE("INPUT[%d] is %f scale is %f ", i, static_cast<double>(sample.value[i]), static_cast<double>(record.scale[i]));
  }
}

// Each rule logs the event and makes the sample. False when the record is in no mode that the rule knows.

bool sample_inertial(const Route& route, const _sensor_info& record, const float* d, Sample* sample) {
  if (record.in_calibrate == 0) return false;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the rows' lines all take three values
  LOGI(route.line, static_cast<double>(d[0]), static_cast<double>(d[1]), static_cast<double>(d[2]));
#pragma GCC diagnostic pop
  for (int i = 0; i < 3; ++i) sample->value[i] = d[i] + record.offset[i];
  sample->value[2] += route.gravity;
  return true;
}

bool sample_pressure(const _sensor_info& record, const float* d, Sample* sample) {
  if (record.in_calibrate == 0) return false;
  LOGI("SENSOR_TYPE_PRESSURE data: {%f}", static_cast<double>(d[0]));
  sample->value[0] = d[0] + record.offset[0] - record.reference;
  return true;
}

bool sample_proximity(const _sensor_info& record, const float* d, Sample* sample) {
  if (record.in_calibrate == 0) return false;
  LOGI("SENSOR_TYPE_PROXIMITY_STRM data: {%f}", static_cast<double>(d[0]));
  LOGE("psensor factorycali, rawdata offset = %f", static_cast<double>(record.mean[0]));
  sample->value[0] = d[0];
  return true;
}

// Colour streams carry their channels from word 2 on.
bool sample_colour(const Route& route, const _sensor_info& record, const float* d, Sample* sample) {
  if (record.in_calibrate == 0 && record.in_raw_calibrate == 0) return false;
  LOGI("SENSOR_TYPE__CCT_STRM data: {%f, %f, %f, %f, %f}", static_cast<double>(d[2]), static_cast<double>(d[3]),
       static_cast<double>(d[4]), static_cast<double>(d[5]), static_cast<double>(d[6]));
  if (record.in_calibrate == 0) {
    copy_raw(record, d + 2, sample);
    return true;
  }
  divide_by_scale(record, d + 2, sample);
  if (route.record == kRecordCctF) log_inputs(record, *sample, axes_of(record));
  return true;
}

void log_light_channels(const float* d) {
  LOGI("SENSOR_TYPE_ALS_STRM data: {%f, %f, %f, %f, %f}", static_cast<double>(d[1]), static_cast<double>(d[2]),
       static_cast<double>(d[3]), static_cast<double>(d[4]), static_cast<double>(d[5]));
}

// Light sensors carry lux in word 0 and channels from word 1 on. The first mode set decides, in this order.
bool sample_light(const _sensor_info& record, const float* d, Sample* sample) {
  if (record.in_backlight_calibrate != 0) {
    LOGI("SENSOR_TYPE_LIGHT... data in backlight cali: {%f}", static_cast<double>(d[0]));
    sample->value[0] = d[0];
  } else if (record.in_lcd_cct_calibrate != 0) {
    LOGI("SENSOR_TYPE_LIGHT_STRM_CCT_LCD_CALI data: {%f, %f, %f, %f, %f,%f}", static_cast<double>(d[0]),
         static_cast<double>(d[1]), static_cast<double>(d[2]), static_cast<double>(d[3]), static_cast<double>(d[4]),
         static_cast<double>(d[5]));
    divide_by_scale(record, d + 1, sample);
  } else if (record.in_calibrate != 0 && record.axis_num != kScaleChannels) {
    LOGI("SENSOR_TYPE_LIGHT data: {%f}", static_cast<double>(d[0]));
    sample->value[0] = d[0] / record.scale[0];
  } else if (record.in_calibrate != 0) {
    log_light_channels(d);
    divide_by_scale(record, d + 1, sample);
    log_inputs(record, *sample, kScaleChannels);
  } else if (record.in_raw_calibrate != 0) {
    log_light_channels(d);
    copy_raw(record, d + 1, sample);
  } else {
    return false;
  }
  return true;
}

bool make_sample(const Route& route, const _sensor_info& record, const float* data, Sample* sample) {
  switch (route.rule) {
    case Rule::kInertial:
      return sample_inertial(route, record, data, sample);
    case Rule::kPressure:
      return sample_pressure(record, data, sample);
    case Rule::kProximity:
      return sample_proximity(record, data, sample);
    case Rule::kColour:
      return sample_colour(route, record, data, sample);
    case Rule::kLight:
      return sample_light(record, data, sample);
  }
  return false;
}

void log_idle(const Route& route) {
  if (route.rule == Rule::kLight) {
    LOGE("11111111 received Event while not incalibrate %d", route.type);
  } else {
    LOGE("received Event while not incalibrate %d", route.type);
  }
}

// A stepped panel run whose mean lies outside (0, 10) is not announced while attempts are left.
bool stays_silent(const Route& route, const _sensor_info& record) {
  if (route.rule != Rule::kLight || record.in_backlight_calibrate == 0 || record.backlight_retry == 0) return false;
  const bool inside = record.mean[0] > 0 && record.mean[0] < 10;
  return !inside && record.retry_count < kRetriesEnd;
}

}  // namespace

Return<void> SensorCalibration::processEvent(Event const& e) {
  const int type = static_cast<int>(e.sensorType);
  if (init_status != 0) {
    LOGI("Ignoring event with e.sensorType: %d, u.additional.type: %u", type,
         static_cast<unsigned>(e.u.additional.type));
    return Void();
  }
  const Route* route = find_route(type);
  if (route == nullptr) {
    LOGE("Event for sensor(type: %d) not interested.", type);
    return Void();
  }
  _sensor_info& record = record_at(*this, route->record);
  Sample sample;
  if (!make_sample(*route, record, e.u.data.data(), &sample)) {
    log_idle(*route);
    return Void();
  }
  const int32_t events_before = record.event_count;
  record.event_count = saturating_add(record.event_count, 1);
  if (route->settles && events_before < record.skip_num) return Void();
  if (cal_process_sample(&record, sample.value) != kDone) return Void();

  // The waiter is woken first and the sensor disabled second; the next run waits until this has returned.
  if (!stays_silent(*route, record)) cal_notify_finish(this);
  if (event_queue == nullptr) return Void();
  const auto disabled = event_queue->disableSensor(record.info.sensorHandle);
  (void)disabled.isOk();  // a sensor that is already off is no matter
  return Void();
}
