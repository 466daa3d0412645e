#define LOG_TAG "libsensor_cal"
#include "backlight/steps.h"

#include <cutils/properties.h>
#include <stdio.h>
#include <stdlib.h>

#include "base/log.h"
#include "base/numbers.h"

namespace {

constexpr char kBrightnessPath[] = "/sys/class/leds/lcd-backlight/brightness";
constexpr char kMaximumPath[] = "/sys/class/leds/lcd-backlight/max_brightness";
constexpr int kDefaultMaximum = 4095;  // stands when the node holds no number

static_assert(sizeof(Property::text) == PROPERTY_VALUE_MAX, "a property's text fits");

struct RecordRow {
  int type;
  Record record;
};

constexpr RecordRow kPanelRecords[] = {
    {sensor_type::light, kRecordLight},
    {sensor_type::light_stream, kRecordLight},
    {sensor_type::lux_pri2, kRecordLuxPri2},
    {sensor_type::lux_pri2_stream, kRecordLuxPri2},
};

}  // namespace

Step read_maximum(SensorCalibration& cal) {
  int maximum = kDefaultMaximum;
  if (cal.lcdbacklight_calibrate_read_backlight(kMaximumPath, &maximum) != 0) {
    LOGE("lcdbacklight_calibrate_read_backlight failed\n");
    return {true, -1};
  }
  LOGD("read_int max_brightness %d\n", maximum);
  return {false, maximum};
}

Step set_and_verify(SensorCalibration& cal, int level, bool announced) {
  if (announced) LOGD("setbrightness = %d\n", level);
  if (cal.lcdbacklight_calibrate_write_backlight(kBrightnessPath, level) != 0) {
    LOGE("lcdbacklight_calibrate_write_backlight failed\n");
    return {true, -1};
  }
  int brightness = 0;
  if (cal.lcdbacklight_calibrate_read_backlight(kBrightnessPath, &brightness) != 0) {
    LOGE("lcdbacklight_calibrate_read_backlight failed\n");
    return {true, -1};
  }
  if (brightness != level) {
    LOGE("lcdbacklight_high_calibrate brightness matching check failed\n");  // also in low runs, deliberately
    return {true, 0};
  }
  return {false, brightness};
}

int low_brightness(int maximum) { return maximum - maximum / 4; }

_sensor_info* panel_record(SensorCalibration& cal, int type) {
  for (const RecordRow& row : kPanelRecords) {
    if (row.type == type) return &record_at(cal, row.record);
  }
  return nullptr;
}

float half_up(float x) { return static_cast<float>(to_int(static_cast<double>(x) + 0.5)); }

Property read_property(const char* name) {
  Property property{};
  property_get(name, property.text, "");
  property.value = strtof(property.text, nullptr);
  return property;
}

Property publish(const char* name, float finding) {
  char text[PROPERTY_VALUE_MAX] = {};
  LOGD("test_nusensor_backlight in CAL_STATE_SUCCESS %s\n", text);  // still empty, deliberately
  snprintf(text, sizeof text, "%f", static_cast<double>(finding));
  LOGD("test_nusensor_backlight %s", text);
  property_set(name, text);
  LOGD("test_nusensor_backlight set ok");
  return read_property(name);
}

int logged_push(int ret) {
  if (ret != 0) LOGE("setAlsBacklightLuxCali_api failed\n");
  return ret;
}
