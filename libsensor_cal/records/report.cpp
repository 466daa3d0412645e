// The calibration report: one verdict per enabled sensor, judged on what the hub holds.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <cutils/properties.h>
#include <math.h>

#include <iterator>

#include "base/log.h"

namespace {

constexpr char kName[] = "GetCalibrated";
constexpr int kFlags = 16;  // the last four are read and not used
constexpr int kFlagsOnByDefault = 4;
constexpr int kUnderDisplayFlag = 11;
constexpr int kValues = 5;
constexpr int kDarkValues = 6;
constexpr double kTolerance = 1e-7;

enum class Kind { kInertial, kLightScale, kProximity, kDark, kSar, kPressure, kChannels };

struct Position {
  Kind kind;
  int type;          // asked for
  int printed_type;  // in the failure line, where the kind's line has one; deliberately not always the type asked for
};

// Verdict i is appended when flag i is set, in this order.
constexpr Position kPositions[] = {
    {Kind::kInertial, sensor_type::accelerometer, 0},
    {Kind::kInertial, sensor_type::gyroscope, 0},
    {Kind::kLightScale, sensor_type::light, 0},
    {Kind::kProximity, sensor_type::proximity, 0},
    {Kind::kDark, sensor_type::light, 0},
    {Kind::kLightScale, sensor_type::lux_b, 0},
    {Kind::kSar, sensor_type::sar, sensor_type::sar},
    {Kind::kSar, sensor_type::sar_second, sensor_type::sar},
    {Kind::kPressure, sensor_type::pressure, sensor_type::sar},
    {Kind::kChannels, sensor_type::cct_f_stream, sensor_type::cct_f},
    {Kind::kChannels, sensor_type::cct_b_stream, sensor_type::cct_b},
};
static_assert(std::size(kPositions) == kUnderDisplayFlag, "every position has a flag of its own");
constexpr Position kUnderDisplay = {Kind::kChannels, sensor_type::light_stream, sensor_type::light_stream};

// One pass over the positions. Its buffers are shared by all of them and never cleared in between: a command that
// fails leaves the values of the position before, and those are judged.
class Report {
 public:
  explicit Report(SensorCalibrationAPI& api) : api_(api) {}

  bool calibrated(const Position& position) {
    switch (position.kind) {
      case Kind::kInertial:
        return inertial(position);
      case Kind::kLightScale:
        return light_scale(position);
      case Kind::kProximity:
        return proximity();
      case Kind::kDark:
        return dark();
      case Kind::kSar:
        return sar(position);
      case Kind::kPressure:
        return pressure(position);
      case Kind::kChannels:
        return channels(position);
    }
    return false;
  }

 private:
  bool inertial(const Position& position) {
    const int ret = api_.getAMGOffset_api(position.type, values_);
    // The gyroscope's line names the accelerometer too, deliberately.
    if (ret != 0) LOGE("%s: getAMGOffset_api fail type is SENSOR_TYPE_ACCELEROMETER, ret=%d", kName, ret);
    return !first_are_zero(3);
  }

  bool light_scale(const Position& position) {
    const int ret = api_.getLuxScale_api(values_, false, position.type);
    if (ret != 0) LOGE("%s:  getLuxScale_api fail ret=%d", kName, ret);
    return !first_are_one(1);
  }

  bool proximity() {
    read_threshold(&far_, 1);
    read_threshold(&near_, 2);
    // The values the hub starts with, or none at all.
    return !((far_ == 400 && near_ == 300) || (far_ == 0 && near_ == 0));
  }

  void read_threshold(int* threshold, int para) {
    const int ret = api_.getPrxOffset_api(threshold, para, 1);
    if (ret != 0) LOGE("%s:  getPrxOffset_api fail ret=%d", kName, ret);
  }

  bool dark() {
    for (int k = 1; k <= kDarkValues; ++k) {
      values_[0] = 0;
      const int ret = api_.getLuxDark_api(values_, k);
      if (ret != 0) LOGE("%s:  getLuxDark_api fail ret=%d", kName, ret);
      if (values_[0] == 0) {
        LOGE("%s:  dark cali data miss =%d", kName, k);
        return false;
      }
    }
    LOGE("%s:   dark cali had done ret=%d", kName, kDarkValues + 1);
    return true;
  }

  bool sar(const Position& position) {
    const int ret = api_.getSAROffset_api(position.type, values_, kValues);
    if (ret != 0) LOGE("getSAROffset_api fail type=%d, ret=%d", position.printed_type, ret);
    return !first_are_zero(2);
  }

  bool pressure(const Position& position) {
    const int ret = api_.getBarOffset_api(values_);
    if (ret != 0) LOGE("getBarOffset_api fail type=%d, ret=%d", position.printed_type, ret);
    return !first_are_zero(1);
  }

  bool channels(const Position& position) {
    const int ret = api_.getLuxChannelScale_api(position.type, values_, kValues);
    if (ret != 0) LOGE("getLuxChannelScale_api fail type=%d, ret=%d", position.printed_type, ret);
    return !first_are_one(3);
  }

  // Offsets are tested strictly and scales inclusively, both so that a NaN counts as calibrated.
  bool first_are_zero(int count) const {
    for (int i = 0; i < count; ++i) {
      if (!(fabs(static_cast<double>(values_[i])) < kTolerance)) return false;
    }
    return true;
  }

  bool first_are_one(int count) const {
    for (int i = 0; i < count; ++i) {
      if (!(fabs(static_cast<double>(values_[i]) - 1.0) <= kTolerance)) return false;
    }
    return true;
  }

  SensorCalibrationAPI& api_;
  float values_[kValues] = {};
  int far_ = 0;
  int near_ = 0;
};

struct Flags {
  bool on[kFlags] = {};
};

// One digit a flag; a character that is no digit leaves its flag at the default.
Flags enabled_flags() {
  Flags flags;
  for (int i = 0; i < kFlagsOnByDefault; ++i) flags.on[i] = true;
  char text[PROPERTY_VALUE_MAX] = {};
  property_get("persist.vendor.sensor.cali_sensor", text, "");
  for (int i = 0; i < kFlags && text[i] != '\0'; ++i) {
    if (text[i] >= '0' && text[i] <= '9') flags.on[i] = text[i] != '0';
  }
  return flags;
}

bool property_is_set(const char* name) {
  char value[PROPERTY_VALUE_MAX];
  property_get(name, value, "");
  return value[0] != '\0';
}

bool under_display_sensor() {
  const bool goodix = property_is_set("persist.vendor.goodix.cct_support");
  return property_is_set("persist.vendor.display.under.cct") || goodix;
}

}  // namespace

std::string SensorCalibration::GetCalibrated() {
  std::string verdicts;
  LOGI("%s: enter sensor_GetCalibrated", kName);
  if (cal_api == nullptr) return verdicts;
  const Flags flags = enabled_flags();
  Report report(*cal_api);
  for (size_t i = 0; i < std::size(kPositions); ++i) {
    if (flags.on[i]) verdicts += report.calibrated(kPositions[i]) ? '1' : '0';
  }
  if (under_display_sensor() && flags.on[kUnderDisplayFlag]) {
    const bool calibrated = report.calibrated(kUnderDisplay);
    verdicts += calibrated ? '1' : '0';
    if (calibrated) {
      LOGE("anajson als_strm add 1\n");
    } else {
      LOGE("anajson als_strm add 0\n");
    }
  }
  LOGI("%s calibrated result out string = %s\n", kName, verdicts.c_str());
  return verdicts;
}
