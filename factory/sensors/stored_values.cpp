#include "sensors/stored_values.h"

#include <errno.h>
#include <persistCalibrate.h>

#include <algorithm>
#include <array>
#include <fstream>

namespace factory {
namespace {

constexpr int kElementsMax = 15;
using Floats = std::array<float, 16>;

Reading from_floats(int result, const float* values, int count) { return {result, {values, values + count}}; }

Floats to_floats(const std::vector<double>& values) {
  Floats out{};
  std::transform(values.begin(), values.begin() + static_cast<long>(std::min<size_t>(values.size(), kElementsMax)),
                 out.begin(), [](double v) { return static_cast<float>(v); });
  return out;
}

Reading read_offset(SensorCalibrationAPI& api, int type, int /*count*/) {
  float v[3] = {};
  const int result = api.getAMGOffset_api(type, v);
  return from_floats(result, v, 3);
}
int write_offset(SensorCalibrationAPI& api, int type, const std::vector<double>& values) {
  Floats v = to_floats(values);
  return api.setAMGOffset_api(type, v.data());
}

Reading read_pressure(SensorCalibrationAPI& api, int /*type*/, int /*count*/) {
  float v = 0;
  const int result = api.getBarOffset_api(&v);
  return from_floats(result, &v, 1);
}
int write_pressure(SensorCalibrationAPI& api, int /*type*/, const std::vector<double>& values) {
  return api.setBarOffset_api(static_cast<float>(values[0]));
}

Reading read_scale(SensorCalibrationAPI& api, int type, int /*count*/) {
  float v = 0;
  const int result = api.getLuxScale_api(&v, false, type);
  return from_floats(result, &v, 1);
}
int write_scale(SensorCalibrationAPI& api, int type, const std::vector<double>& values) {
  return api.setLuxScale_api(static_cast<float>(values[0]), false, type);
}

Reading read_channel_scales(SensorCalibrationAPI& api, int type, int count) {
  Floats v{};
  const int result = api.getLuxChannelScale_api(type, v.data(), count);
  return from_floats(result, v.data(), count);
}
int write_channel_scales(SensorCalibrationAPI& api, int type, const std::vector<double>& values) {
  Floats v = to_floats(values);
  return api.setLuxChannelScale_api(type, v.data(), static_cast<int>(values.size()));
}

Reading read_golden(SensorCalibrationAPI& api, int type, int count) {
  Floats v{};
  const int result = api.getLuxChannelRawGolden_api(type, v.data(), count);
  return from_floats(result, v.data(), count);
}
int write_golden(SensorCalibrationAPI& api, int type, const std::vector<double>& values) {
  Floats v = to_floats(values);
  return api.setLuxChannelRawGolden_api(type, v.data(), static_cast<int>(values.size()));
}

Reading read_dark(SensorCalibrationAPI& api, int /*type*/, int /*count*/) {
  constexpr int kDarkValues = 6;
  Reading out;
  for (int k = 1; k <= kDarkValues; ++k) {
    float v = 0;
    out.result = api.getLuxDark_api(&v, k);
    out.values.push_back(static_cast<double>(v));
  }
  return out;
}

// The proximity values in the hub go by number: 0 crosstalk, 1 far, 2 near.
template <int kPara>
Reading read_proximity(SensorCalibrationAPI& api, int /*type*/, int /*count*/) {
  int v = 0;
  const int result = api.getPrxOffset_api(&v, kPara, 0);
  return {result, {static_cast<double>(v)}};
}
template <int kPara>
int write_proximity(SensorCalibrationAPI& api, int /*type*/, const std::vector<double>& values) {
  return api.setPrxOffset_api(static_cast<int>(values[0]), kPara, 0);
}

// The API's way by number reads a missing file as 0 and says nothing of a failed write: a station must know.
template <int (SensorCalibrationAPI::*kLoad)(int*)>
Reading read_crosstalk_file(SensorCalibrationAPI& api, int /*type*/, int /*count*/) {
  int v = 0;
  const int result = (api.*kLoad)(&v);
  return {result, {static_cast<double>(v)}};
}
template <int (SensorCalibrationAPI::*kSave)(int)>
int write_crosstalk_file(SensorCalibrationAPI& api, int /*type*/, const std::vector<double>& values) {
  return (api.*kSave)(static_cast<int>(values[0]));
}

// The library returns a fixed scale whatever the file holds: what was written can only be read from the file itself.
constexpr char kScaleFile[] = "mnt/vendor/persist/sensors/scale.txt";
Reading read_scale_file(SensorCalibrationAPI& /*api*/, int /*type*/, int /*count*/) {
  std::ifstream in(kScaleFile);
  double value = 0;
  const bool there = static_cast<bool>(in >> value);
  return {there ? 0 : -EIO, {value}};
}
int write_scale_file(SensorCalibrationAPI& /*api*/, int /*type*/, const std::vector<double>& values) {
  persistCalibrate().setScale(values[0]);
  return 0;
}

Reading read_delta(SensorCalibrationAPI& api, int /*type*/, int /*count*/) {
  int v = 0;
  const int result = api.load_prox_delta(&v);
  return {result, {static_cast<double>(v)}};
}
int write_delta(SensorCalibrationAPI& api, int /*type*/, const std::vector<double>& values) {
  return api.save_prox_delta(static_cast<int>(values[0]));
}

Reading read_sar(SensorCalibrationAPI& api, int type, int /*count*/) {
  float v[3] = {};
  const int result = api.getSAROffset_api(type, v);
  return from_floats(result, v, 3);
}
// Written only: the register's number and its value.
int write_register(SensorCalibrationAPI& api, int type, const std::vector<double>& values) {
  int para[2] = {static_cast<int>(values[0]), static_cast<int>(values[1])};
  return type == sensor_type::sar ? api.setSARreg(type, para) : api.setSARSECreg(type, para);
}

Reading read_tof(SensorCalibrationAPI& api, int /*type*/, int /*count*/) {
  int v = 0;
  const int result = api.getTofOffset_api(&v, 0);
  return {result, {static_cast<double>(v)}};
}

Reading read_version(SensorCalibrationAPI& api, int type, int /*count*/) {
  float v = 0;
  const int result = api.getAMGversion_api(type, &v, 0, "");
  return from_floats(result, &v, 1);
}
template <bool kHigh>
Reading read_lcd_version(SensorCalibrationAPI& api, int type, int /*count*/) {
  float v = 0;
  const int result = api.getAMGversion_api(type, &v, 2, kHigh ? "highlcd" : "lowlcd");
  return from_floats(result, &v, 1);
}

}  // namespace

const std::vector<StoredValue>& stored_values() {
  static const std::vector<StoredValue> kValues = {
      {"offset", "offset per axis", Stored::inertial_offset, nullptr, 3, read_offset, write_offset, false},
      {"offset", "pressure offset", Stored::pressure_offset, nullptr, 1, read_pressure, write_pressure, false},
      {"offset", "offset per axis", Stored::sar_offset, nullptr, 3, read_sar, nullptr, false},
      {"offset", "distance offset", Stored::tof_offset, nullptr, 1, read_tof, nullptr, true},
      {"scale", "lux per raw lux", Stored::scale, "factor", 1, read_scale, write_scale, false},
      {"channel-scales", "scale per channel", Stored::channel_scales, "factor", 0, read_channel_scales,
       write_channel_scales, false},
      {"golden", "golden channel values", Stored::golden, "counts", 0, read_golden, write_golden, false},
      {"dark", "dark values 1 to 6; measured when read in the dark box", Stored::dark, "counts", 6, read_dark, nullptr,
       false},
      {"near", "threshold above which a target is near", Stored::thresholds, nullptr, 1, read_proximity<2>,
       write_proximity<2>, true},
      {"far", "threshold below which a target is far", Stored::thresholds, nullptr, 1, read_proximity<1>,
       write_proximity<1>, true},
      {"crosstalk", "crosstalk in the hub", Stored::thresholds, nullptr, 1, read_proximity<0>, write_proximity<0>,
       true},
      {"crosstalk-file-1", "crosstalk 1 in its file", Stored::thresholds, nullptr, 1,
       read_crosstalk_file<&SensorCalibrationAPI::load_prox_ct1>,
       write_crosstalk_file<&SensorCalibrationAPI::save_prox_ct1>, true, "mnt/vendor/persist/sensors/PSensor_ct1.txt"},
      {"crosstalk-file-2", "crosstalk 2 in its file", Stored::thresholds, nullptr, 1,
       read_crosstalk_file<&SensorCalibrationAPI::load_prox_ct2>,
       write_crosstalk_file<&SensorCalibrationAPI::save_prox_ct2>, true, "mnt/vendor/persist/sensors/PSensor_ct2.txt"},
      {"delta-file", "3 cm delta in its file", Stored::thresholds, nullptr, 1, read_delta, write_delta, true,
       "mnt/vendor/persist/sensors/PSensor3cm_ct.txt"},
      {"scale-file", "scale in its file", Stored::scale_file, "factor", 1, read_scale_file, write_scale_file, false,
       kScaleFile},
      {"register", "a register of the SAR chip: number and value", Stored::chip_register, "", 2, nullptr,
       write_register, true},
      {"version", "version of the stored calibration", Stored::any, "", 1, read_version, nullptr, false},
      {"version-high", "version of the stored panel level 13", Stored::panel_versions, "", 1, read_lcd_version<true>,
       nullptr, false},
      {"version-low", "version of the stored panel level 14", Stored::panel_versions, "", 1, read_lcd_version<false>,
       nullptr, false},
  };
  return kValues;
}

bool StoredValue::applies(int type) const {
  const Sensor* sensor = sensor_of(type);
  return in == Stored::any || (sensor != nullptr && (sensor->stores & in) != 0);
}

const char* StoredValue::unit(int type) const {
  const Sensor* sensor = sensor_of(type);
  return own_unit != nullptr ? own_unit : sensor != nullptr ? sensor->unit : "";
}

const StoredValue* stored_value(int type, const std::string& name) {
  for (const StoredValue& value : stored_values()) {
    if (value.applies(type) && name == value.name) return &value;
  }
  return nullptr;
}

}  // namespace factory
