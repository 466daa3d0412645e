// Light at a lit panel: what the panel adds at full brightness and at a reduced one.
#define LOG_TAG "libsensor_cal"
#include "backlight/steps.h"
#include "base/log.h"
#include "base/numbers.h"

namespace {

constexpr char kLuxProperty[] = "sys.backlight.lux";
constexpr char kMaxEqualProperty[] = "sys.backlight.max_equal_spec";
constexpr int kDefaultMaxEqual = 5;
constexpr float kSteppedFrom = 30.0F;  // a high run at or above this makes the low run search its level
constexpr int kFirstEighth = 4;
constexpr int kMeasurements = 2;
constexpr int kTargetEnd = 10;  // the search ends at 1 to 9 lux

constexpr RunSettings kSteppedRun = {
    /*period_ms=*/200,
    /*axis_num=*/1,
    /*timeout_s=*/10,
    /*sample_num=*/5,
    /*variance_threshold=*/10000.0F,
    /*zero_variance_check=*/0,
    /*bias_threshold=*/10000.0F,
    /*skip_num=*/5,
};

// Runs the record in backlight mode. Returns the run's status.
int run_backlight(SensorCalibration& cal, _sensor_info& record) {
  {
    const EventHold hold(cal);
    record.in_calibrate = 0;
  }
  return run_in_mode(cal, record, &_sensor_info::in_backlight_calibrate);
}

// The low runs round whatever the status: the old mean that a failed run leaves is judged too.
int measure_low(SensorCalibration& cal, _sensor_info& record) {
  const int status = run_backlight(cal, record);
  record.mean[0] = half_up(record.mean[0]);
  return status;
}

int send_lux(SensorCalibration& cal, int type, int level, int brightness, int lux) {
  return logged_push(cal.cal_api == nullptr ? -1
                                            : cal.cal_api->setAlsBacklightLuxCali_api(type, level, brightness, lux));
}

void set_retry(SensorCalibration& cal, _sensor_info& record, uint8_t retry) {
  const EventHold hold(cal);
  record.backlight_retry = retry;
}

// Low run of a panel that adds much light: at most two measurements, the second one nearer to the target.
int low_stepped(SensorCalibration& cal, _sensor_info& record, int type, int maximum) {
  {
    const EventHold hold(cal);
    record.retry_count = 0;
    record.backlight_retry = 1;
  }
  int eighths = kFirstEighth;
  Step brightness{};
  do {
    brightness = set_and_verify(cal, static_cast<int>(int64_t{maximum} * eighths / 8), true);
    if (brightness.leave) return brightness.value;
    write_settings(cal, record, kSteppedRun);
    {
      const EventHold hold(cal);
      ++record.retry_count;
    }
    const int status = measure_low(cal, record);
    const int lux = to_int(record.mean[0]);
    if (status != run_state::finished || lux < 0) return -1;
    if (lux >= 1 && lux < kTargetEnd) break;
    eighths += lux >= kTargetEnd ? -1 : 1;
  } while (record.retry_count < kMeasurements);
  set_retry(cal, record, 0);
  return send_lux(cal, type, kLowLevel, brightness.value, to_int(record.mean[0]));
}

// Above the limit that the application may set, the two levels must differ.
bool equals_high_above_limit(float high, float low) {
  const Property limit = read_property(kMaxEqualProperty);
  LOGE("test_nusensor_backlight get max equal spec = %s, lux  = %f (in low cal) ", limit.text,
       static_cast<double>(low));
  const int wanted = to_int(limit.value);
  const int max_equal = wanted > 0 ? wanted : kDefaultMaxEqual;
  LOGE("test_nusensor_backlight max_equal_spec_float = %f,default_equal_spec = %d", static_cast<double>(limit.value),
       max_equal);
  if (to_int(high) <= max_equal || to_int(high) != to_int(low)) return false;
  LOGE("lcdbacklight_low_calibrate high equal low and than default_equal_spec(%d) lux: (%f, %f)\n", max_equal,
       static_cast<double>(high), static_cast<double>(low));
  return true;
}

// The reduced level cannot add more light than the full one: brings the mean below the high run's.
void keep_below_high(_sensor_info& record, float high) {
  const int whole_high = to_int(high);
  if (whole_high < 0 || to_int(record.mean[0]) < whole_high) return;
  LOGE("lcdbacklight_low_calibrate low is higher than high: (%f, %f)\n", static_cast<double>(high),
       static_cast<double>(record.mean[0]));
  record.mean[0] = whole_high != 0 ? high - 1.0F : 0.0F;
}

int low_single(SensorCalibration& cal, _sensor_info& record, int type, int maximum, float high) {
  set_retry(cal, record, 0);
  const Step brightness = set_and_verify(cal, low_brightness(maximum), true);
  if (brightness.leave) return brightness.value;
  const int status = measure_low(cal, record);
  if (equals_high_above_limit(high, record.mean[0])) return -1;
  keep_below_high(record, high);
  if (record.mean[0] != 0) {
    if (status != run_state::finished) return -1;
    return send_lux(cal, type, kLowLevel, brightness.value, to_int(record.mean[0]));
  }
  // Sent whatever the status, and always for type 5: deliberately.
  LOGE("lcdbacklight_low_calibrate set low force to 0\n");
  return send_lux(cal, sensor_type::light, kLowLevel, brightness.value, 0) == 0 ? 0 : -1;
}

}  // namespace

int SensorCalibration::lcdbacklight_high_calibrate(int type) {
  _sensor_info* record = panel_record(*this, type);
  if (record == nullptr) return -1;
  const Step maximum = read_maximum(*this);
  if (maximum.leave) return maximum.value;
  const Step brightness = set_and_verify(*this, maximum.value, false);
  if (brightness.leave) return brightness.value;
  set_retry(*this, *record, 0);
  if (run_backlight(*this, *record) != run_state::finished) return -1;
  record->mean[0] = half_up(record->mean[0]);
  const Property published = publish(kLuxProperty, record->mean[0]);
  LOGD("test_nusensor_backlight get sys_back_lux_1 = %s", published.text);
  return send_lux(*this, type, kHighLevel, brightness.value, to_int(record->mean[0]));
}

int SensorCalibration::lcdbacklight_low_calibrate(int type) {
  _sensor_info* record = panel_record(*this, type);
  if (record == nullptr) return -1;
  const Step maximum = read_maximum(*this);
  if (maximum.leave) return maximum.value;
  const Property high = read_property(kLuxProperty);
  LOGD("test_nusensor_backlight get sys_back_lux = %s", high.text);
  if (high.value >= kSteppedFrom) return low_stepped(*this, *record, type, maximum.value);
  return low_single(*this, *record, type, maximum.value, high.value);
}
