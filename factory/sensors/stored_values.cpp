#include "sensors/stored_values.h"

#include <persistCalibrate.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>

#include "files/numbers.h"

namespace factory {
namespace {

using Api = SensorCalibrationAPI;
using Values = const std::vector<double>&;
using Floats = std::array<float, 16>;

// What a call gives that fills an array, or an int.
template <typename Call>
Reading floats(int count, Call call) {
  Floats v{};
  const int result = call(v.data());
  return {result, {v.begin(), v.begin() + count}};
}
template <typename Call>
Reading whole(Call call) {
  int v = 0;
  const int result = call(&v);
  return {result, {static_cast<double>(v)}};
}

Floats to_floats(Values values) {
  constexpr size_t kElementsMax = 15;
  Floats out{};
  std::transform(values.begin(), values.begin() + static_cast<long>(std::min(values.size(), kElementsMax)), out.begin(),
                 [](double v) { return static_cast<float>(v); });
  return out;
}
int to_int(Values values, size_t i = 0) { return static_cast<int>(values[i]); }

Reading read_dark(Api& api, int /*type*/, int /*count*/) {
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
Reading read_proximity(Api& api, int /*type*/, int /*count*/) {
  return whole([&](int* v) { return api.getPrxOffset_api(v, kPara, 0); });
}
template <int kPara>
int write_proximity(Api& api, int /*type*/, Values values) {
  return api.setPrxOffset_api(to_int(values), kPara, 0);
}

// The API's way by number reads a missing file as 0 and says nothing of a failed write: a station must know.
template <int (Api::*kLoad)(int*)>
Reading read_file(Api& api, int /*type*/, int /*count*/) {
  return whole([&](int* v) { return (api.*kLoad)(v); });
}
template <int (Api::*kSave)(int)>
int write_file(Api& api, int /*type*/, Values values) {
  return (api.*kSave)(to_int(values));
}

// The library returns a fixed scale whatever the file holds: what was written can only be read from the file itself.
constexpr char kScaleFile[] = "mnt/vendor/persist/sensors/scale.txt";
Reading read_scale_file(Api& /*api*/, int /*type*/, int /*count*/) {
  std::ifstream in(kScaleFile);
  double value = 0;
  const bool there = static_cast<bool>(in >> value);
  return {there ? 0 : -EIO, {value}};
}
int write_scale_file(Api& /*api*/, int /*type*/, Values values) {
  persistCalibrate().setScale(values[0]);
  return 0;
}

int write_register(Api& api, int type, Values values) {
  int para[2] = {to_int(values), to_int(values, 1)};
  return type == sensor_type::sar ? api.setSARreg(type, para) : api.setSARSECreg(type, para);
}

template <int kPara>
Reading read_version(Api& api, int type, int /*count*/) {
  const char* level = kPara == 13 ? "highlcd" : kPara == 14 ? "lowlcd" : "";
  return floats(1, [&](float* v) { return api.getAMGversion_api(type, v, *level == '\0' ? 0 : 2, level); });
}

// As far as the library goes in what it finds: its limits of scales and of a stream's means, and the highest threshold.
constexpr double kScaleMin = 0.001;
constexpr double kScaleMax = 1000;
constexpr double kChannelMax = 20000;
constexpr double kCountsMax = 65536;

constexpr StoredValue kValues[] = {
    {"offset", "offset per axis", Stored::inertial_offset, nullptr, 3,
     [](Api& api, int type, int) { return floats(3, [&](float* v) { return api.getAMGOffset_api(type, v); }); },
     [](Api& api, int type, Values v) { return api.setAMGOffset_api(type, to_floats(v).data()); }},
    {"offset", "pressure offset", Stored::pressure_offset, nullptr, 1,
     [](Api& api, int, int) { return floats(1, [&](float* v) { return api.getBarOffset_api(v); }); },
     [](Api& api, int, Values v) { return api.setBarOffset_api(to_floats(v)[0]); }},
    {"offset", "offset per axis", Stored::sar_offset, nullptr, 3,
     [](Api& api, int type, int) { return floats(3, [&](float* v) { return api.getSAROffset_api(type, v); }); }},
    {"offset", "distance offset", Stored::tof_offset, nullptr, 1,
     [](Api& api, int, int) { return whole([&](int* v) { return api.getTofOffset_api(v, 0); }); }, nullptr, true},
    {"scale", "lux per raw lux", Stored::scale, "factor", 1,
     [](Api& api, int type, int) { return floats(1, [&](float* v) { return api.getLuxScale_api(v, false, type); }); },
     [](Api& api, int type, Values v) { return api.setLuxScale_api(to_floats(v)[0], false, type); }, false, nullptr,
     kScaleMin, kScaleMax},
    {"channel-scales", "scale per channel", Stored::channel_scales, "factor", 0,
     [](Api& api, int type, int n) {
       return floats(n, [&](float* v) { return api.getLuxChannelScale_api(type, v, n); });
     },
     [](Api& api, int type, Values v) {
       return api.setLuxChannelScale_api(type, to_floats(v).data(), static_cast<int>(v.size()));
     },
     false, nullptr, kScaleMin, kScaleMax},
    {"golden", "golden channel values", Stored::golden, "counts", 0,
     [](Api& api, int type, int n) {
       return floats(n, [&](float* v) { return api.getLuxChannelRawGolden_api(type, v, n); });
     },
     [](Api& api, int type, Values v) {
       return api.setLuxChannelRawGolden_api(type, to_floats(v).data(), static_cast<int>(v.size()));
     },
     false, nullptr, 0, kChannelMax},
    {"dark", "dark values 1 to 6; measured when read in the dark box", Stored::dark, "counts", 6, read_dark},
    {"near", "threshold above which a target is near", Stored::thresholds, nullptr, 1, read_proximity<2>,
     write_proximity<2>, true, nullptr, 0, kCountsMax},
    {"far", "threshold below which a target is far", Stored::thresholds, nullptr, 1, read_proximity<1>,
     write_proximity<1>, true, nullptr, 0, kCountsMax},
    {"crosstalk", "crosstalk in the hub", Stored::thresholds, nullptr, 1, read_proximity<0>, write_proximity<0>, true,
     nullptr, 0, kCountsMax},
    {"crosstalk-file-1", "crosstalk 1 in its file", Stored::thresholds, nullptr, 1, read_file<&Api::load_prox_ct1>,
     write_file<&Api::save_prox_ct1>, true, "mnt/vendor/persist/sensors/PSensor_ct1.txt", 0, kCountsMax},
    {"crosstalk-file-2", "crosstalk 2 in its file", Stored::thresholds, nullptr, 1, read_file<&Api::load_prox_ct2>,
     write_file<&Api::save_prox_ct2>, true, "mnt/vendor/persist/sensors/PSensor_ct2.txt", 0, kCountsMax},
    {"delta-file", "3 cm delta in its file", Stored::thresholds, nullptr, 1, read_file<&Api::load_prox_delta>,
     write_file<&Api::save_prox_delta>, true, "mnt/vendor/persist/sensors/PSensor3cm_ct.txt", 0, kCountsMax},
    {"scale-file", "scale in its file", Stored::scale_file, "factor", 1, read_scale_file, write_scale_file, false,
     kScaleFile},
    {"register", "a register of the SAR chip: number and value", Stored::chip_register, "", 2, nullptr, write_register,
     true},
    {"version", "version of the stored calibration", Stored::any, "", 1, read_version<0>},
    {"version-high", "version of the stored panel level 13", Stored::panel_versions, "", 1, read_version<13>},
    {"version-low", "version of the stored panel level 14", Stored::panel_versions, "", 1, read_version<14>},
};

}  // namespace

std::span<const StoredValue> stored_values() { return kValues; }

bool StoredValue::applies(int type) const {
  const Sensor* sensor = sensor_of(type);
  return in == Stored::any || (sensor != nullptr && (sensor->stores & in) != 0);
}

const char* StoredValue::unit(int type) const {
  const Sensor* sensor = sensor_of(type);
  return own_unit != nullptr ? own_unit : sensor != nullptr ? sensor->unit : "";
}

std::pair<double, double> StoredValue::range(int type) const {
  constexpr unsigned kOffsets =
      Stored::inertial_offset | Stored::pressure_offset | Stored::sar_offset | Stored::tof_offset;
  if ((in & kOffsets) == 0) return {least, most};
  const double limit = sensor_of(type)->offset_limit;
  return {-limit, limit};
}

std::string StoredValue::number_problem(int type, size_t index, double number) const {
  constexpr double kRegisterMax = 0xffff;
  const bool of_register = in == Stored::chip_register;
  auto [low, high] = range(type);
  if (of_register) low = index == 0 ? 0 : INT32_MIN;
  if (of_register) high = index == 0 ? kRegisterMax : INT32_MAX;
  if (number >= low && number <= high && (!whole_numbers || std::trunc(number) == number)) return "";
  const std::string in_unit = *unit(type) == '\0' ? "" : std::string(" ") + unit(type);
  return std::string("give ") + (of_register && index == 0 ? "the register's number, " : "") + "a " +
         (whole_numbers ? "whole " : "") + "number from " + significant(low, 10) + " to " + significant(high, 10) +
         in_unit;
}

const StoredValue* stored_value(int type, const std::string& name) {
  for (const StoredValue& value : stored_values()) {
    if (value.applies(type) && name == value.name) return &value;
  }
  return nullptr;
}

}  // namespace factory
