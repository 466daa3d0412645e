// Colour channels at a lit panel, at full brightness and at a reduced one.
#define LOG_TAG "libsensor_cal"
#include <string.h>

#include "backlight/steps.h"
#include "base/log.h"

namespace {

constexpr char kChannelProperty[] = "persist.vendor.sensor.cct_lcdbacklight_b";
constexpr int kJudgedChannel = 3;
constexpr float kExcessLimit = 3.0F;  // how far the low run may lie above the high one
constexpr float kSmall = 5.0F;        // a low run below this is sent whatever its status
constexpr float kBiasThreshold = 10000.0F;

// Takes over the scales that the hub holds: always those of CCT_F_strm, deliberately. 0, or the negative result.
int read_scales(SensorCalibration& cal, _sensor_info& record) {
  float scale[kLightChannels];
  {
    const EventHold hold(cal);
    record.axis_num = kLightChannels;
    memcpy(scale, record.scale, sizeof scale);
  }
  const int ret = cal.cal_api == nullptr
                      ? -1
                      : cal.cal_api->getLuxChannelScale_api(sensor_type::cct_f_stream, scale, kLightChannels);
  const EventHold hold(cal);
  memcpy(record.scale, scale, sizeof scale);
  if (ret >= 0) return 0;
  LOGE("lightsensor_calibrate getLuxScale fail ret = %d", ret);
  return ret;
}

// Runs the record in LCD colour mode, which stays set. Returns the run's status.
int measure_channels(SensorCalibration& cal, _sensor_info& record) {
  {
    const EventHold hold(cal);
    record.in_calibrate = 0;
    record.in_backlight_calibrate = 0;
    record.backlight_retry = 0;
    record.in_lcd_cct_calibrate = 1;
    for (int i = 1; i < kLightChannels; ++i) record.bias_threshold[i] = kBiasThreshold;
  }
  return cal.cal_wait_finish(&record);
}

int send_channels(SensorCalibration& cal, int type, int level, int brightness, _sensor_info& record) {
  return cal.cal_api == nullptr ? -1 : cal.cal_api->setCctChannelBacklight_api(type, level, brightness, record.mean);
}

// Whether the low run's fourth channel lies too far above the high run's.
bool exceeds_high(SensorCalibration& cal, float low, float high) {
  if (!(high >= 0 && low > high)) return false;
  // Record 9's value, whichever record ran: deliberately.
  LOGE("lcdbacklight_low_calibrate low is higher than high: ( %f)\n",
       static_cast<double>(record_at(cal, kRecordLight).mean[kJudgedChannel]));
  return low - high >= kExcessLimit;
}

// Sends the low run's means, always for type 5: deliberately.
int finish_low(SensorCalibration& cal, _sensor_info& record, int brightness, int status) {
  const float low = record.mean[kJudgedChannel];
  if (status == run_state::finished && low >= kSmall) {
    if (send_channels(cal, sensor_type::light, kLowLevel, brightness, record) == 0) {
      LOGE("setCctChannelBacklight_api success\n");
      return 0;
    }
    LOGE("setCctChannelBacklight_api failed\n");
    return -1;
  }
  if (low > kSmall) return -1;
  LOGE("lcdbacklight_low_calibrate set low force to 0\n");  // nothing is forced: the means go as measured
  return logged_push(send_channels(cal, sensor_type::light, kLowLevel, brightness, record)) == 0 ? 0 : -1;
}

}  // namespace

int SensorCalibration::lcdbacklightcct_high_calibrate(int type) {
  _sensor_info* record = panel_record(*this, type);
  if (record == nullptr) return -1;
  const Step maximum = read_maximum(*this);
  if (maximum.leave) return maximum.value;
  const Step brightness = set_and_verify(*this, maximum.value, false);
  if (brightness.leave) return brightness.value;
  const int scales = read_scales(*this, *record);
  if (scales != 0) return scales;

  const int status = measure_channels(*this, *record);
  {
    const EventHold hold(*this);
    record->in_calibrate = 0;  // in_lcd_cct_calibrate stays set, deliberately
  }
  if (status != run_state::finished) return -1;
  for (int i = 0; i < kLightChannels; ++i) record->mean[i] = half_up(record->mean[i]);
  const Property published = publish(kChannelProperty, record->mean[kJudgedChannel]);
  LOGD("test_nusensor_backlight get sys_back_cct_check = %s", published.text);
  return logged_push(send_channels(*this, type, kHighLevel, brightness.value, *record));
}

int SensorCalibration::lcdbacklightcct_low_calibrate(int type) {
  _sensor_info* record = panel_record(*this, type);
  if (record == nullptr) return -1;
  const Step maximum = read_maximum(*this);
  if (maximum.leave) return maximum.value;
  const int scales = read_scales(*this, *record);
  if (scales != 0) return scales;
  const Step brightness = set_and_verify(*this, low_brightness(maximum.value), true);
  if (brightness.leave) return brightness.value;

  const int status = measure_channels(*this, *record);
  {
    const EventHold hold(*this);
    record->in_backlight_calibrate = 0;
    record->in_lcd_cct_calibrate = 0;
    record->backlight_retry = 0;
    record->in_calibrate = 0;
  }
  const Property high = read_property(kChannelProperty);
  LOGD("test_nusensor_backlight get sys_back_lux = %s", high.text);
  if (exceeds_high(*this, record->mean[kJudgedChannel], high.value)) return -1;
  return finish_low(*this, *record, brightness.value, status);
}
