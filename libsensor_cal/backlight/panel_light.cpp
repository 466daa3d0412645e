// Entry of the calibrations at a lit panel.
#include <cutils/properties.h>

#include "backlight/steps.h"

namespace {

constexpr RunSettings kLuxRun = {
    /*period_ms=*/200,
    /*axis_num=*/1,
    /*timeout_s=*/10,
    /*sample_num=*/10,
    /*variance_threshold=*/10000.0F,
    /*zero_variance_check=*/0,
    /*bias_threshold=*/10000.0F,
    /*skip_num=*/5,
};

bool colour_wanted() {
  char value[PROPERTY_VALUE_MAX];
  return property_get("persist.vendor.sensor.cct_need_lcdbacklight_cali", value, "") > 0;
}

}  // namespace

int SensorCalibration::lcdbacklight_lux_calibrate(int type, int level) {
  // 33171007 has a record but is deliberately not taken here.
  _sensor_info* record = type == sensor_type::light_stream ? nullptr : panel_record(*this, type);
  if (record == nullptr) return -1;
  write_settings(*this, *record, kLuxRun);
  switch (level) {
    case kLowLevel:
      return colour_wanted() ? lcdbacklightcct_low_calibrate(type) : lcdbacklight_low_calibrate(type);
    case kHighLevel:
      return colour_wanted() ? lcdbacklightcct_high_calibrate(type) : lcdbacklight_high_calibrate(type);
    default:
      return -1;
  }
}
