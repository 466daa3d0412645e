// The registry's names and units, once, for the three archives that save, load and describe the store.
//
// An archive offers: section(name, body), where body takes an archive of the same kind; field(name, unit, optional[,
// default]); field(name, unit, map).
#pragma once

#include "phone/hub/sensor_kinds.h"
#include "phone/hub/store.h"

namespace phone {

template <typename Archive>
void light_fields(Archive& a, const LightChip& chip, LightStore& light) {
  const bool primary = chip.type == sensor_type::light;
  if (chip.lux) {
    a.field("scale", "", light.scale, 1.0F);
    a.field("high_lux", "raw lux", light.high_lux);
    a.field("screen_channels", "counts", light.screen_channels);
    a.field("backlight", "lux", light.backlight);
    a.field("colour_backlight", "counts", light.colour_backlight);
  }
  if (primary) {
    a.field("dark", "counts", light.dark);
    a.field("panel_samples", "raw lux", light.panel_samples);
  }
  if (chip.channels) {
    a.field("channel_scales", "", light.channel_scales, all_channels(1));
    a.field("golden_channels", "counts", light.golden_channels);
  }
}

template <typename Archive>
void proximity_fields(Archive& a, ProximityStore& proximity) {
  a.field("near", "counts", proximity.near_threshold, 300);
  a.field("far", "counts", proximity.far_threshold, 400);
  a.field("crosstalk", "counts", proximity.crosstalk, 0);
  a.field("hardware_crosstalk", "counts", proximity.hardware_crosstalk, 0.0F);
}

template <typename Archive>
void tof_fields(Archive& a, TofStore& tof) {
  a.field("offset", "mm", tof.offset, 0.0F);
  a.field("reference", "mm", tof.reference);
  a.field("crosstalk", "mm", tof.crosstalk);
  a.field("steps_done", "", tof.steps_done, 0);
}

template <typename Archive>
void sar_fields(Archive& a, SarStore& sar) {
  a.field("offset", "counts", sar.offset, all_channels(0));
  a.field("baseline", "counts", sar.baseline, all_channels(0));
  a.field("registers", "", sar.registers);
}

template <typename Archive>
void sensor_fields(Archive& a, Store& store) {
  const auto inertial = [&](int type, const char* unit) {
    a.section(sensor_label(type), [&](Archive& s) { s.field("offset", unit, store.offsets[type], Vector3{}); });
  };
  for (const int type : kAccelerometers) inertial(type, "m/s^2");
  for (const int type : kGyroscopes) inertial(type, "rad/s");
  a.section("Bar", [&](Archive& s) { s.field("offset", "hPa", store.pressure_offset, 0.0F); });
  for (const LightChip& chip : kLightChips) {
    a.section(sensor_label(chip.type), [&](Archive& s) { light_fields(s, chip, store.lights[chip.type]); });
  }
  a.section("Prx", [&](Archive& s) { proximity_fields(s, store.proximity); });
  a.section("Tof", [&](Archive& s) { tof_fields(s, store.tof); });
  for (const int type : kSarChips) {
    a.section(sensor_label(type), [&](Archive& s) { sar_fields(s, store.sars[type]); });
  }
}

template <typename Archive>
void store_fields(Archive& a, Store& store) {
  a.section("sensors", [&](Archive& s) { sensor_fields(s, store); });
  a.section("last_high_level", [&](Archive& s) {
    s.field("lux", "sensor type", store.last_high_lux);
    s.field("colour", "sensor type", store.last_high_colour);
  });
}

}  // namespace phone
