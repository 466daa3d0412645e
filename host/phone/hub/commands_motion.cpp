#include "phone/hub/command_handlers.h"

namespace phone {
namespace {

int chip_of(const CommandContext& c) { return gyroscope_chip(c.request.sensor_type); }

Vector3 request_vector(const CommandContext& c) {
  return {c.request.as_float(0), c.request.as_float(1), c.request.as_float(2)};
}

// True where a calibration of this type is stored.
bool is_calibrated(const Store& store, int type) {
  if (const LightChip* chip = light_chip(type)) {
    const LightStore& light = store.light(chip->type);
    return light.scale || light.channel_scales || !light.backlight.empty() || !light.colour_backlight.empty();
  }
  if (type == sensor_type::pressure) return store.pressure_offset.has_value();
  if (type == sensor_type::proximity) return store.proximity.near_threshold.has_value();
  if (type == sensor_type::tof) return store.tof.offset.has_value();
  if (is_one_of(kSarChips, type)) return store.sar(type).offset.has_value();
  const auto found = store.offsets.find(gyroscope_chip(type));
  return found != store.offsets.end() && found->second.has_value();
}

bool has_level(const Store& store, int type, int level) {
  const LightChip* chip = light_chip(type);
  if (chip == nullptr) return false;
  const LightStore& light = store.light(chip->type);
  return light.backlight.count(level) > 0 || light.colour_backlight.count(level) > 0;
}

}  // namespace

void run_code_0(CommandContext& c) {
  if (is_one_of(kAccelerometers, c.request.sensor_type)) {
    c.store.offsets[c.request.sensor_type] = request_vector(c);
    c.changed = true;
    return;
  }
  if (c.request.sensor_type == 0) return take_panel_sample(c);
  refuse(c, "a version request that matched nothing");
}

void get_offset(CommandContext& c) {
  const Vector3 offset = c.known_type ? c.store.offset(chip_of(c)) : Vector3{};
  for (int i = 0; const float value : offset) c.reply.set_float(i++, value);
}

void set_gyroscope_offset(CommandContext& c) {
  c.store.offsets[chip_of(c)] = request_vector(c);
  ++c.runtime.bias_epochs[chip_of(c)].relearn;
  c.changed = true;
}

void clear_gyroscope_bias(CommandContext& c) { ++c.runtime.bias_epochs[chip_of(c)].clear; }

void set_pressure_offset(CommandContext& c) {
  c.store.pressure_offset = c.request.as_float(0);
  c.changed = true;
}

void get_pressure_offset(CommandContext& c) {
  c.reply.set_float(0, c.known_type ? c.store.pressure_offset.value_or(0) : 0);
}

void set_thresholds(CommandContext& c) {
  constexpr int32_t kLeave = -1;
  ProximityStore& proximity = c.store.proximity;
  std::optional<int32_t>* const targets[] = {&proximity.near_threshold, &proximity.far_threshold, &proximity.crosstalk};
  for (int i = 0; i < 3; ++i) {
    if (word(c, i) != kLeave) *targets[i] = word(c, i);
  }
  c.changed = true;
}

void get_thresholds(CommandContext& c) {
  constexpr int32_t kNotAsked = -1;
  const ProximityStore& proximity = c.store.proximity;
  const bool tof = c.request.sensor_type == sensor_type::tof;
  const int32_t values[] = {tof ? 0 : proximity.near_threshold.value_or(300),
                            tof ? 0 : proximity.far_threshold.value_or(400),
                            tof ? saturated_int(c.store.tof.offset.value_or(0)) : proximity.crosstalk.value_or(0)};
  for (int i = 0; i < 3; ++i) {
    if (word(c, i) != kNotAsked) answer(c, i, values[i]);
  }
}

void calibrate_crosstalk(CommandContext& c) {
  const float raw = c.measured.values[0];
  c.store.proximity.hardware_crosstalk = raw;
  c.changed = true;
  const int32_t counts = saturated_int(raw);
  c.store.proximity.crosstalk = counts;
  answer(c, 0, c.chips.splits_crosstalk ? counts & 0xff : counts);
  if (c.chips.splits_crosstalk) answer(c, 1, (counts >> 8) & 0xff);
}

void get_sar_offset(CommandContext& c) {
  const Channels offset = c.store.sar(c.request.sensor_type).offset.value_or(all_channels(0));
  if (word(c, 0) == 0) {
    for (int i = 0; i < 3; ++i) c.reply.set_float(i, offset[static_cast<size_t>(i)]);
    return;
  }
  const int count = count_of(c);
  if (count < 0) return refuse(c, "a count that no record holds");
  for (int i = 0; i < count && i < kChannelCount; ++i) c.reply.set_float(1 + i, offset[static_cast<size_t>(i)]);
}

void calibrate_sar(CommandContext& c) {
  SarStore& sar = c.store.sars[c.request.sensor_type];
  if (word(c, 0) == 0) {
    sar.offset = c.measured.values;
    sar.baseline.reset();
    c.changed = true;
    return;
  }
  if (c.request.as_float(0) != -1.0F) return refuse(c, "neither a full nor a soft calibration");
  const Channels offset = sar.offset.value_or(all_channels(0));
  Channels& baseline = sar.baseline.emplace();
  for (size_t i = 0; i < baseline.size(); ++i) baseline[i] = c.measured.values[i] - offset[i];
  c.changed = true;
}

void set_sar_register(CommandContext& c) {
  const int chip = c.request.msg_type == 43 ? sensor_type::sar : sensor_type::sar_second;
  c.store.sars[chip].registers[word(c, 0)] = word(c, 1);
  c.changed = true;
}

void calibrate_tof(CommandContext& c) {
  TofStore& tof = c.store.tof;
  const int step = c.request.msg_type - 12;  // 0 reference, 1 offset, 2 crosstalk
  if (tof.steps_done.value_or(0) < step) return refuse(c, "a time-of-flight step before the one it builds on");
  const float raw = c.measured.values[0];
  if (step == 0) tof.reference = raw;
  if (step == 1) tof.offset = raw - c.chips.tof_target_mm;
  if (step == 2) tof.crosstalk = raw;
  tof.steps_done = step + 1;
  c.changed = true;
}

void self_test(CommandContext& /*passes*/) {}

void get_version(CommandContext& c) {
  const float which = c.request.as_float(1);
  const bool level = which == kHighLevel || which == kLowLevel;
  if (!level && which != -1) return refuse(c, "neither a level nor -1");
  const int type = c.request.sensor_type;
  const bool stored = level ? has_level(c.store, type, static_cast<int>(which)) : is_calibrated(c.store, type);
  c.reply.set_float(2, stored ? 1 : 0);
}

}  // namespace phone
