#include <cmath>

#include "phone/hub/command_handlers.h"

namespace phone {
namespace {

// The hub's answer to a dark value that measures as nothing: 0 stands for "missing".
constexpr float kDarkMin = 0.01F;
constexpr int kRunChannels = 5;
constexpr float kMinScale = 0.001F;
constexpr float kMaxScale = 1000.0F;
constexpr int32_t kGoldenCommand = -1;

int chip_type(const CommandContext& c) {
  const LightChip* chip = light_chip(c.request.sensor_type);
  return chip == nullptr ? 0 : chip->type;
}

LightStore& light(CommandContext& c) { return c.store.lights[chip_type(c)]; }
// What a get code reads: the defaults where the type is unknown.
const LightStore& stored_light(const CommandContext& c) { return c.store.light(chip_type(c)); }

// The channel that word 0 names, -1 when there is none.
int channel_of(const CommandContext& c) {
  const int32_t channel = saturated_int(c.request.as_float(0));
  return channel < 0 || channel >= kChannelCount ? -1 : channel;
}

// The float results of codes 23 and 200.
void answer_channel(CommandContext& c, bool done) {
  if (!done) c.reply.set_float(2, -1.0F);
  c.changed = done;
}

// A low level for type 5 completes the chip whose high level came last.
int level_chip(const CommandContext& c, int level, std::optional<int32_t>* last_high) {
  const int type = chip_type(c);
  if (level == kHighLevel) *last_high = type;
  const bool completes = level == kLowLevel && c.request.sensor_type == sensor_type::light;
  return completes && light_chip(last_high->value_or(0)) != nullptr ? **last_high : type;
}

bool is_level(int32_t level) { return level == kHighLevel || level == kLowLevel; }

void set_counted(CommandContext& c, std::optional<Channels>* target, float unset) {
  const int count = count_of(c);
  if (count < 0 || count > kChannelCount) return refuse(c, "a count that no chip has");
  if (count == 0) return;
  if (!*target) *target = all_channels(unset);
  for (int i = 0; i < count; ++i) (**target)[static_cast<size_t>(i)] = c.request.as_float(1 + i);
  c.changed = true;
}

void get_counted(CommandContext& c, const Channels& values, float beyond) {
  const int count = count_of(c);
  if (count < 0) return refuse(c, "a count that no record holds");
  for (int i = 0; i < count; ++i) {
    c.reply.set_float(1 + i, i < kChannelCount ? values[static_cast<size_t>(i)] : beyond);
  }
}

}  // namespace

void set_lux_scale(CommandContext& c) {
  light(c).scale = c.request.as_float(0);
  c.changed = true;
}

void get_lux_scale(CommandContext& c) { c.reply.set_float(0, c.known_type ? stored_light(c).scale.value_or(1) : 1); }

void high_lux_step(CommandContext& c) {
  const int32_t step = word(c, 0);
  if (step != 12 && (step < 15 || step > 18)) return refuse(c, "no such high-lux step", 1);
  light(c).high_lux[step] = c.measured.values[0];
  c.changed = true;
}

void get_dark_value(CommandContext& c) {
  const int32_t which = saturated_int(c.request.as_float(0));
  if (!c.known_type || which < 1 || which > kDarkValues) return;
  if (c.measured.dark_box) {
    const float value = c.measured.values[static_cast<size_t>(which - 1)];
    light(c).dark[which] = value == 0 ? kDarkMin : value;
    c.changed = true;
  }
  const auto found = stored_light(c).dark.find(which);
  if (found != stored_light(c).dark.end()) c.reply.set_float(0, found->second);
}

void set_screen_channel(CommandContext& c) {
  const int channel = channel_of(c);
  if (channel >= 0) light(c).screen_channels[channel] = c.request.as_float(1);
  answer_channel(c, channel >= 0);
}

void set_backlight_level(CommandContext& c) {
  const int32_t level = word(c, 0);
  if (!is_level(level)) return refuse(c, "no such backlight level", 1);
  LightStore& target = c.store.lights[level_chip(c, level, &c.store.last_high_lux)];
  target.backlight[level] = {.brightness = word(c, 1), .lux = word(c, 2), .scale = target.scale.value_or(1)};
  c.changed = true;
}

void set_colour_level(CommandContext& c) {
  const int32_t level = saturated_int(c.request.as_float(0));
  if (!is_level(level)) return refuse(c, "no such backlight level");
  ColourLevel& target = c.store.lights[level_chip(c, level, &c.store.last_high_colour)].colour_backlight[level];
  target.brightness = c.request.as_float(1);
  for (int i = 0; i < 4; ++i) target.channels[static_cast<size_t>(i)] = c.request.as_float(2 + i);
  c.changed = true;
}

void calibrate_channel(CommandContext& c) {
  const int channel = channel_of(c);
  const float raw = channel < 0 ? 0 : c.measured.values[static_cast<size_t>(channel)];
  const float scale = c.request.as_float(1) / raw;  // of none: not finite
  if (std::isfinite(scale)) {
    std::optional<Channels>& scales = light(c).channel_scales;
    if (!scales) scales = all_channels(1);
    (*scales)[static_cast<size_t>(channel)] = scale;
  }
  answer_channel(c, std::isfinite(scale));
}

void set_golden_channels(CommandContext& c) { set_counted(c, &light(c).golden_channels, 0); }
void set_channel_scales(CommandContext& c) { set_counted(c, &light(c).channel_scales, 1); }

void get_golden_channels(CommandContext& c) {
  const std::optional<Channels>& golden = stored_light(c).golden_channels;
  if (!golden) return refuse(c, "no golden channels");
  get_counted(c, *golden, 0);
}

void get_channel_scales(CommandContext& c) {
  get_counted(c, c.known_type ? stored_light(c).channel_scales.value_or(all_channels(1)) : all_channels(1), 1);
}

void start_colour_run(CommandContext& c) {
  ColourRunState& run = c.runtime.colour_run;
  if (run.result == ColourRunState::kRunning) return refuse(c, "a colour run is under way");
  run = {.chip_type = chip_type(c),
         .command = saturated_int(c.request.as_float(0)),
         .result = ColourRunState::kRunning,
         .number = run.number + 1};
}

void get_colour_run(CommandContext& c) {
  const ColourRunState& run = c.runtime.colour_run;
  answer(c, 0, run.chip_type == chip_type(c) ? run.result : ColourRunState::kNoRun);
}

void take_panel_sample(CommandContext& c) {
  const float request = c.request.as_float(1);
  const float sample = c.measured.values[0];
  if (c.request.as_float(0) != 1.0F || (request != -10.0F && request != -11.0F)) {
    return refuse(c, "neither a collect request nor a panel sample");
  }
  if (request == -10.0F) return c.reply.set_float(0, sample);
  const int32_t step = saturated_int(c.request.as_float(2));
  const bool stored = step >= 8 && step <= 11;
  if (stored) c.store.lights[sensor_type::light].panel_samples[step] = sample;
  c.reply.set_float(0, stored ? 0.0F : -1.0F);
  c.changed = stored;
}

void end_colour_run(const Channels& raw, ColourRunState* run, LightStore* light) {
  run->result = ColourRunState::kDone;
  if (run->command == kGoldenCommand) {
    light->golden_channels = raw;
    return;
  }
  if (!light->golden_channels) {
    run->result = ColourRunState::kNoGolden;
    return;
  }
  Channels scales = light->channel_scales.value_or(all_channels(1));
  for (size_t i = 0; i < kRunChannels; ++i) {
    scales[i] = (*light->golden_channels)[i] / raw[i];
    if (!(scales[i] >= kMinScale && scales[i] <= kMaxScale)) run->result = ColourRunState::kBadScale;
  }
  if (run->result == ColourRunState::kDone) light->channel_scales = scales;
}

}  // namespace phone
