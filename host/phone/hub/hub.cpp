#include "phone/hub/hub.h"

#include <bit>
#include <cmath>
#include <utility>

#include "phone/hub/panel_curve.h"
#include "phone/hub/sensor_kinds.h"

namespace phone {
namespace {

constexpr int32_t kUnknown = -1;
constexpr int32_t kNotStored = -1;
constexpr double kLevelRounding = 0.5;  // levels are whole lux or counts

// How a lux level reads through today's scale. A scale that scales nothing leaves it as it was stored.
double at_scale(const LuxLevel& level, float scale) {
  const double ratio = static_cast<double>(scale) / static_cast<double>(level.scale);
  return std::isfinite(ratio) && ratio > 0 ? level.lux * ratio : level.lux;
}

// Empty where the type is no light chip's.
const LightStore& light_of(const Store& store, int type) {
  const LightChip* chip = light_chip(type);
  return store.light(chip == nullptr ? 0 : chip->type);
}

template <typename Level>
std::pair<const Level*, const Level*> both_levels(const std::map<int, Level>& levels) {
  const auto high = levels.find(kHighLevel);
  const auto low = levels.find(kLowLevel);
  if (high == levels.end() || low == levels.end()) return {nullptr, nullptr};
  return {&high->second, &low->second};
}

}  // namespace

Hub::Hub(RawSource* source, Chips chips)
    : source_(source), chips_(chips), colour_deadline_([this] { end_colour_run(); }) {}

HubRecord Hub::handle(const HubRecord& request, std::string* note) {
  HubRecord reply{.sensor_type = request.sensor_type, .msg_type = request.msg_type};
  std::string remarks;
  const Command* command = find_command(request.msg_type);
  const bool colour_run = request.msg_type == 39 || request.msg_type == 40;
  if (command == nullptr || (colour_run && !chips_.runs_colour_calibration)) {
    add_note(&remarks, "unknown code " + std::to_string(request.msg_type));
    reply.words[0] = kUnknown;
  } else {
    run(*command, request, &reply, &remarks);
  }
  if (note != nullptr) *note = std::move(remarks);
  return reply;
}

void Hub::run(const Command& command, const HubRecord& request, HubRecord* reply, std::string* note) {
  remark_unused_words(command, request, note);
  const bool known = command.serves(request.sensor_type);
  if (!known) add_note(note, std::string(command.name) + ": unknown type " + std::to_string(request.sensor_type));
  if (!known && !command.answers_unknown) {
    reply->words[0] = kUnknown;
    return;
  }
  const Measured measured = known ? measure(command.measure, request) : Measured{};
  bool changed = false;
  Store before;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    before = store_;
    const uint32_t run_before = runtime_.colour_run.number;
    CommandContext context{.request = request,
                           .reply = *reply,
                           .chips = chips_,
                           .measured = measured,
                           .store = store_,
                           .runtime = runtime_,
                           .note = *note,
                           .known_type = known};
    command.run(context);
    changed = context.changed;
    if (runtime_.colour_run.number != run_before) {
      colour_deadline_.start(std::chrono::milliseconds(chips_.colour_run_ms));
    }
  }
  if (!changed || tell_change()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    store_ = std::move(before);
  }
  add_note(note, std::string(command.name) + ": not stored");
  // Commands tell their result in the first, the second or the third word.
  reply->words = {kNotStored, kNotStored, std::bit_cast<int32_t>(static_cast<float>(kNotStored))};
}

Measured Hub::measure(Measure what, const HubRecord& request) const {
  const int type = request.sensor_type;
  const LightChip* chip = light_chip(type);
  Measured out;
  switch (what) {
    case Measure::kNothing:
      break;
    case Measure::kLux:
      out.values[0] = source_->raw(chip->type, 0);
      break;
    case Measure::kPanel:
      if (type == 0) out.values[0] = source_->raw(sensor_type::light, 0);
      break;
    case Measure::kProximity:
      out.values[0] = source_->raw(sensor_type::proximity, 0);
      break;
    case Measure::kSar:
      out.values = measure_channels(type);
      break;
    case Measure::kTof:
      out.values[0] = source_->raw(sensor_type::tof, 0);
      break;
    case Measure::kChannels:
      out.values = measure_channels(chip->stream);
      break;
    case Measure::kDark:
      out.dark_box = source_->dark_box();
      if (out.dark_box) out.values = measure_channels(chip->stream);
      break;
  }
  return out;
}

Channels Hub::measure_channels(int sensor_type) const {
  Channels out{};
  for (int i = 0; i < kChannelCount; ++i) out[static_cast<size_t>(i)] = source_->raw(sensor_type, i);
  return out;
}

void Hub::end_colour_run() {
  ColourRunState run;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    run = runtime_.colour_run;
  }
  const LightChip* chip = light_chip(run.chip_type);
  if (run.result != ColourRunState::kRunning || chip == nullptr) return;  // a reboot came between
  const Channels raw = measure_channels(chip->stream);
  Store before;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    before = store_;
    ColourRunState& current = runtime_.colour_run;
    if (current.number != run.number || current.result != ColourRunState::kRunning) return;
    phone::end_colour_run(raw, &current, &store_.lights[chip->type]);
    if (current.result != ColourRunState::kDone) return;
  }
  if (tell_change()) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  store_ = std::move(before);
  runtime_.colour_run.result = ColourRunState::kRunNotStored;
}

std::array<float, 3> Hub::offset(int sensor_type) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return store_.offset(gyroscope_chip(sensor_type));
}

float Hub::pressure_offset() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return store_.pressure_offset.value_or(0);
}

float Hub::lux_scale(int sensor_type) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return light_of(store_, sensor_type).scale.value_or(1);
}

std::array<float, 8> Hub::channel_scales(int sensor_type) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return light_of(store_, sensor_type).channel_scales.value_or(all_channels(1));
}

float Hub::sar_offset(int sensor_type, int axis) const {
  if (axis < 0 || axis >= kChannelCount) return 0;
  const std::lock_guard<std::mutex> lock(mutex_);
  const SarStore& sar = store_.sar(sensor_type);
  const auto i = static_cast<size_t>(axis);
  return sar.offset.value_or(all_channels(0))[i] + sar.baseline.value_or(all_channels(0))[i];
}

float Hub::tof_offset() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return store_.tof.offset.value_or(0);
}

Hub::Proximity Hub::proximity() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const ProximityStore& stored = store_.proximity;
  Proximity out;
  out.near_threshold = stored.near_threshold.value_or(out.near_threshold);
  out.far_threshold = stored.far_threshold.value_or(out.far_threshold);
  out.crosstalk = stored.crosstalk.value_or(out.crosstalk);
  out.hardware_crosstalk = stored.hardware_crosstalk.value_or(out.hardware_crosstalk);
  return out;
}

float Hub::panel_lux(int sensor_type, int brightness) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const LightStore& light = light_of(store_, sensor_type);
  const auto [high, low] = both_levels(light.backlight);
  if (high == nullptr) return 0;
  const float scale = light.scale.value_or(1);
  const PanelPoint high_point{static_cast<double>(high->brightness), at_scale(*high, scale)};
  const PanelPoint low_point{static_cast<double>(low->brightness), at_scale(*low, scale)};
  return static_cast<float>(panel_curve(high_point, low_point, kLevelRounding * scale).at(brightness));
}

std::array<float, 4> Hub::panel_channels(int sensor_type, int brightness) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto [high, low] = both_levels(light_of(store_, sensor_type).colour_backlight);
  std::array<float, 4> out{};
  if (high == nullptr) return out;
  for (size_t i = 0; i < out.size(); ++i) {
    const PanelPoint high_point{static_cast<double>(high->brightness), static_cast<double>(high->channels[i])};
    const PanelPoint low_point{static_cast<double>(low->brightness), static_cast<double>(low->channels[i])};
    out[i] = static_cast<float>(panel_curve(high_point, low_point, kLevelRounding).at(brightness));
  }
  return out;
}

Hub::BiasEpoch Hub::gyroscope_bias_epoch(int sensor_type) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = runtime_.bias_epochs.find(gyroscope_chip(sensor_type));
  return found == runtime_.bias_epochs.end() ? BiasEpoch{} : found->second;
}

Json::Value Hub::save() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return to_json(store_);
}

std::string Hub::load(const Json::Value& store) {
  Store loaded;
  std::string error = from_json(store, &loaded);
  if (!error.empty()) return error;
  const std::lock_guard<std::mutex> lock(mutex_);
  store_ = std::move(loaded);
  return "";
}

Json::Value Hub::describe() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return phone::describe(store_);
}

void Hub::factory_reset() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    store_ = Store{};
    forget_runtime();
  }
  tell_change();
}

void Hub::reboot() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [type, sar] : store_.sars) {
      sar.baseline.reset();
      sar.registers.clear();
    }
    forget_runtime();
  }
  tell_change();
}

void Hub::forget_runtime() {
  runtime_.colour_run = {.number = runtime_.colour_run.number};
  for (const int type : kGyroscopes) ++runtime_.bias_epochs[type].relearn;
}

void Hub::on_change(std::function<bool()> changed) {
  const std::lock_guard<std::mutex> lock(mutex_);
  changed_ = std::move(changed);
}

bool Hub::tell_change() {
  std::function<bool()> changed;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    changed = changed_;
  }
  return !changed || changed();
}

}  // namespace phone
