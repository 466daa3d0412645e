// What each message code does; commands.cpp has the table that names them.
#pragma once

#include "phone/hub/commands.h"
#include "phone/hub/sensor_kinds.h"

namespace phone {

// commands_motion.cpp: accelerometers, gyroscopes, barometer, proximity, SAR, time of flight
void run_code_0(CommandContext& c);
void get_offset(CommandContext& c);
void set_gyroscope_offset(CommandContext& c);
void clear_gyroscope_bias(CommandContext& c);
void set_pressure_offset(CommandContext& c);
void get_pressure_offset(CommandContext& c);
void set_thresholds(CommandContext& c);
void get_thresholds(CommandContext& c);
void calibrate_crosstalk(CommandContext& c);
void get_sar_offset(CommandContext& c);
void calibrate_sar(CommandContext& c);
void set_sar_register(CommandContext& c);
void calibrate_tof(CommandContext& c);
void self_test(CommandContext& c);
void get_version(CommandContext& c);

// commands_light.cpp: light and colour
void set_lux_scale(CommandContext& c);
void get_lux_scale(CommandContext& c);
void high_lux_step(CommandContext& c);
void get_dark_value(CommandContext& c);
void set_screen_channel(CommandContext& c);
void set_backlight_level(CommandContext& c);
void set_colour_level(CommandContext& c);
void calibrate_channel(CommandContext& c);
void set_golden_channels(CommandContext& c);
void get_golden_channels(CommandContext& c);
void set_channel_scales(CommandContext& c);
void get_channel_scales(CommandContext& c);
void start_colour_run(CommandContext& c);
void get_colour_run(CommandContext& c);
void take_panel_sample(CommandContext& c);

// A reply begins as zeros: what is not refused is done.
inline constexpr int32_t kRefused = -1;
inline constexpr int kMaxCount = 15;  // what fits behind word 0

inline int32_t word(const CommandContext& c, int i) { return c.request.words[static_cast<size_t>(i)]; }
inline void answer(CommandContext& c, int i, int32_t value) { c.reply.words[static_cast<size_t>(i)] = value; }

// Word `i` says so.
inline void refuse(CommandContext& c, const std::string& why, int i = 0) {
  answer(c, i, kRefused);
  add_note(&c.note, why);
}

// The count in word 0 as an int, -1 when the record cannot hold that many.
inline int count_of(const CommandContext& c) {
  const int32_t count = saturated_int(c.request.as_float(0));
  return count < 0 || count > kMaxCount ? -1 : count;
}

}  // namespace phone
