// Calibration of colour and light streams: golden data, channel scales, and the run that the hub does itself.
#define LOG_TAG "libsensor_cal"
#include <cutils/properties.h>
#include <unistd.h>

#include "base/log.h"
#include "engine/flows.h"

namespace {

constexpr int kGoldenParam = -1;
constexpr int kChannels = 8;
constexpr double kLargestScale = 1000.0;
constexpr double kSmallestScale = 0.001;
constexpr int kHubRunPolls = 30;
constexpr int kHubRunTimedOut = 1098;
constexpr char kLightFile[] = "/mnt/vendor/nvcfg/sensor/lightSensorCali.json";

//                                    period axes timeout samples variance  zero  bias      skip
constexpr RunSettings kScaleSettings = {100, 5, 5, 5, 10000.0F, 0, 20000.0F, 5};
constexpr RunSettings kGoldenSettings = {100, 7, 5, 5, 10000.0F, 0, 20000.0F, 5};

int calibrate_scales(SensorCalibration& cal, int type, _sensor_info& record, bool to_file) {
  // 1. Settings, and the golden values to come to.
  write_settings(cal, record, kScaleSettings);
  const int axes = kScaleSettings.axis_num;
  float golden[kChannels] = {};
  float scale[kChannels] = {};
  int read = cal.cal_api->getLuxChannelRawGolden_api(type, golden, axes);
  if (read < 0) {
    LOGE("lightsensor_calibrate getLuxScale fail ret = %d", read);
    return read;
  }
  // 2. The scales in force divide every event, so that the means are raw channel values.
  read = read_into_record(cal, record.scale, axes,
                          [&](float* held) { return cal.cal_api->getLuxChannelScale_api(type, held, axes); });
  if (read < 0) {
    LOGE("lightsensor_calibrate getLuxScale fail ret = %d", read);
    return read;
  }
  // 3. Run.
  {
    const EventHold hold(cal);
    record.in_raw_calibrate = 0;
  }
  const int state = run_in_mode(cal, record, &_sensor_info::in_calibrate);
  if (state != run_state::finished) {
    LOGE("lightsensor calibrate fail: state=%d", state);
    return -1;
  }
  // 4. New scales, within reason.
  for (int i = 0; i < axes; ++i) {
    scale[i] = golden[i] / record.mean[i];
    const double wide = static_cast<double>(scale[i]);
    if (wide > kLargestScale || wide < kSmallestScale) {
      LOGE("cct channel_scale not in resonable arrange channel_scale[%d] = %f", i, wide);
      return -1;
    }
  }
  // 5. Push.
  if (cal.cal_api->setLuxChannelScale_api(type, scale, axes) != 0) {
    LOGE("calibrate sensor(type=%d) failed when set offset to hub", type);
    return -1;
  }
  // 6. File; a failure leaves the new scales in the hub.
  if (to_file && property_get_bool("persist.vendor.display.parse.algorithm", 0) != 0 &&
      cal.WirteScaleToFileJson(scale, kLightFile) != 0) {
    return -1;
  }
  // 7. Done.
  for (int i = 0; i < axes; ++i) {
    LOGI("lightsensor sensor calibrate success: channel_scale[%d] = %f", i, static_cast<double>(scale[i]));
  }
  return 0;
}

int collect_golden(SensorCalibration& cal, int type, _sensor_info& record) {
  // 1. Run on unscaled channels.
  write_settings(cal, record, kGoldenSettings);
  const int axes = kGoldenSettings.axis_num;
  {
    const EventHold hold(cal);
    record.in_calibrate = 0;
  }
  const int state = run_in_mode(cal, record, &_sensor_info::in_raw_calibrate);
  // 2. It must have finished.
  if (state != run_state::finished) {
    LOGE("set golden channel data fail: state=%d", state);
    return -1;
  }
  // 3. Push.
  float golden[kChannels] = {};
  for (int i = 0; i < axes; ++i) golden[i] = record.mean[i];
  if (cal.cal_api->setLuxChannelRawGolden_api(type, golden, axes) != 0) {
    LOGE("sensor(type=%d) failed to set golden channel data", type);
    return -1;
  }
  // 4. Done. Channels are numbered from 1 here, deliberately unlike the scales.
  for (int i = 0; i < axes; ++i) {
    LOGI("golden channel data: channel %d = %f", i + 1, static_cast<double>(golden[i]));
  }
  return 0;
}

// Starts the hub's own run and polls it, 4.5 s at most.
int run_in_hub(SensorCalibration& cal, int type, int param) {
  LOGE("surpport goodix_cct_sensor \n");
  if (cal.cal_api->setCCTCaliCmd_api(type, param) != 0) {
    LOGE("calibrate cct sensor(type=%d) failed when set offset to hub", type);
    return -1;
  }
  for (int countdown = kHubRunPolls; countdown > 0; --countdown) {
    const int ret = cal.cal_api->getCCTCaliRet_api(type, param);
    LOGD("calibrate cct sensor(type=%d) wait to be finished, countdown_times=%d", type, countdown);
    usleep(100 * 1000);
    if (ret >= 0) return ret;
    usleep(50 * 1000);
  }
  return kHubRunTimedOut;
}

}  // namespace

int calibrate_stream(SensorCalibration& cal, int type, int param, _sensor_info& record, bool to_file) {
  return param == kGoldenParam ? collect_golden(cal, type, record) : calibrate_scales(cal, type, record, to_file);
}

int calibrate_colour_f(SensorCalibration& cal, int type, int param, _sensor_info& record) {
  char hub_runs[PROPERTY_VALUE_MAX];
  if (property_get("persist.vendor.goodix.cct_support", hub_runs, "") >= 1) return run_in_hub(cal, type, param);
  LOGE("surpport ams_cct_sensor \n");
  return calibrate_stream(cal, type, param, record, true);
}
