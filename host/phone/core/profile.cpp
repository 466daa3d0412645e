#include "phone/core/profile.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>

#include "phone/core/json_reader.h"
#include "phone/core/phone.h"
#include "phone/faults/faults.h"

namespace phone {
namespace {

constexpr int kMaxExtends = 8;
constexpr int kBrightnessMax = 9999;  // four digits: see docs/phone-panel.md

// Objects are merged key by key; anything else replaces, and null takes away.
void merge(Json::Value* base, const Json::Value& change) {
  for (const std::string& key : change.getMemberNames()) {
    const Json::Value& value = change[key];
    if (value.isNull()) {
      base->removeMember(key);
    } else if (value.isObject() && (*base)[key].isObject()) {
      merge(&(*base)[key], value);
    } else {
      (*base)[key] = value;
    }
  }
}

struct Source {
  std::string text;
  std::string name;
  bool shipped = false;
};

Source find_source(const std::string& name, const std::string& beside) {
  for (const ShippedProfile* shipped = kShippedProfiles; shipped->name != nullptr; ++shipped) {
    if (name == shipped->name) return {shipped->text, name, true};
  }
  const std::filesystem::path file = std::filesystem::path(beside).parent_path() / name;
  std::error_code error;
  if (!std::filesystem::exists(file, error))
    throw OptionError("there is no profile '" + name + "' and no file " + file.string(), name, shipped_profiles());
  if (std::filesystem::is_directory(file, error)) throw OptionError(file.string() + ": is a folder, no profile");
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw OptionError(file.string() + ": " + strerror(errno));
  constexpr size_t kMax = size_t{64} << 20U;  // an endless file ends here
  std::string text;
  char block[1 << 16];
  while (stream.read(block, sizeof block) || stream.gcount() > 0) {
    text.append(block, static_cast<size_t>(stream.gcount()));
    if (text.size() > kMax) throw OptionError(file.string() + ": " + strerror(EFBIG));
  }
  return {text, file.string()};
}

// Resolves `extends`, the nearest profile winning.
Json::Value resolve(const Source& source, int depth) {
  Json::Value own = parse_json(source.text, source.name);
  if (!own.isObject()) throw OptionError(source.name + ": wants an object");
  const Json::Value extends = own["extends"];
  own.removeMember("extends");
  if (extends.isNull()) return own;
  if (!extends.isString()) throw OptionError(source.name + ".extends: wants a text");
  if (depth == 0) throw OptionError(source.name + ".extends: profiles extend each other in a circle");
  Json::Value merged = resolve(find_source(extends.asString(), source.name), depth - 1);
  merge(&merged, own);
  return merged;
}

// A number, a list of numbers, {"mean", "sigma", "limit"} or {"from", "to"}.
void read_part(JsonReader* reader, const char* key, Part* out) {
  const Json::Value& value = reader->take(key);
  if (value.isNull()) return;
  Part part;
  if (value.isNumeric()) {
    part.fixed.resize(1);
    reader->read(key, part.fixed.data());
  } else if (value.isArray()) {
    reader->read(key, &part.fixed);
    if (part.fixed.empty()) reader->fail(key, "wants at least one number");
  } else {
    JsonReader inner(value, reader->path(key));
    inner.read("mean", &part.mean);
    inner.read("sigma", &part.sigma, 0);
    part.limit = 3 * part.sigma;
    inner.read("limit", &part.limit, 0);
    inner.read("from", &part.from);
    inner.read("to", &part.to);
    part.even = value.isMember("from") || value.isMember("to");
    inner.finish();
    if (part.to < part.from) reader->fail(key, "to is below from");
  }
  *out = part;
}

void read_type(JsonReader* reader, const char* key, int* out) {
  std::string tag;
  reader->read(key, &tag);
  if (tag.empty()) return;
  const std::optional<int> type = parse_sensor_type(tag);
  if (!type) reader->fail(key, "unknown sensor: " + tag);
  *out = *type;
}

Chip read_chip(const std::string& name, const Json::Value& value, const std::string& where) {
  Chip chip;
  chip.name = name;
  JsonReader reader(value, where);
  read_part(&reader, "bias", &chip.bias);
  read_part(&reader, "gain", &chip.gain);
  read_part(&reader, "channel_gain", &chip.channel_gain);
  read_part(&reader, "optical_crosstalk", &chip.optical_crosstalk);
  reader.read("noise_density", &chip.noise_density, 0);
  reader.read("noise_relative", &chip.noise_relative, 0);
  reader.read("bandwidth_hz", &chip.bandwidth_hz, 1e-3);
  reader.read("quantisation", &chip.quantisation, 0);
  reader.read("temperature_drift", &chip.temperature_drift);
  reader.read("startup_ms", &chip.startup_ms, 0, 60000);
  reader.read("upside_down", &chip.upside_down);
  reader.read("response", &chip.response);
  reader.read("colour_slope", &chip.colour_slope);
  reader.read("panel_lux", &chip.panel_lux, 0);
  reader.read("panel_gamma", &chip.panel_gamma, 0.1, 10);
  reader.read("lux_from_channels", &chip.lux_from_channels);
  read_type(&reader, "also_scaled_by", &chip.also_scaled_by);
  reader.read("reflection", &chip.reflection, 0);
  reader.read("reflection_limit", &chip.reflection_limit, 0);
  reader.read("values", &chip.values);
  reader.finish();
  if (chip.lux_from_channels && chip.response[0] == 0) reader.fail("lux_from_channels", "wants a response");
  return chip;
}

SensorEntry read_sensor(const std::string& tag, const Json::Value& value, const std::string& where,
                        const Profile& profile) {
  JsonReader reader(value, where);
  const std::optional<int> type = parse_sensor_type(tag);
  const KindRow* row = type ? kind_row(*type) : nullptr;
  if (row == nullptr) throw OptionError(where + ": unknown sensor");
  SensorEntry entry;
  entry.type = row->type;
  entry.kind = row->kind;
  entry.values = row->values;
  for (const char* key : {"name", "handle", "chip"}) reader.require(key);
  reader.read("name", &entry.name);
  reader.read("vendor", &entry.vendor);
  reader.read("handle", &entry.handle, 0, INT32_MAX);
  reader.read("version", &entry.version, 0, INT32_MAX);
  reader.read("max_range", &entry.max_range);
  reader.read("resolution", &entry.resolution);
  reader.read("power_ma", &entry.power_ma);
  reader.read("min_period_us", &entry.min_period_us, 1, INT32_MAX);
  reader.read("max_period_us", &entry.max_period_us, 1, INT32_MAX);
  if (entry.min_period_us == 0) entry.min_period_us = 5000;
  if (entry.max_period_us == 0) entry.max_period_us = std::max(entry.min_period_us, 1000000);
  if (entry.max_period_us < entry.min_period_us) reader.fail("max_period_us", "below min_period_us");
  std::string chip;
  reader.read("chip", &chip);
  const auto found = profile.chips.find(chip);
  if (found == profile.chips.end()) reader.fail("chip", "no such chip: " + chip);
  entry.chip = &found->second;
  reader.finish();
  return entry;
}

void read_sensors(JsonReader* reader, Profile* profile) {
  const Json::Value& sensors = reader->take("sensors");
  if (!sensors.isObject()) reader->fail("sensors", "wants an object of sensors by tag");
  std::set<int> handles;
  for (const std::string& tag : sensors.getMemberNames()) {
    const std::string where = reader->path("sensors") + "." + tag;
    profile->sensors.push_back(read_sensor(tag, sensors[tag], where, *profile));
    if (!handles.insert(profile->sensors.back().handle).second) {
      throw OptionError(where + ".handle: taken by another sensor");
    }
  }
  std::sort(profile->sensors.begin(), profile->sensors.end(),
            [](const SensorEntry& a, const SensorEntry& b) { return a.handle < b.handle; });
}

void read_golden(JsonReader* reader, Profile* profile) {
  const Json::Value& golden = reader->take("golden");
  if (golden.isNull()) return;
  JsonReader by_type(golden, reader->path("golden"));
  for (const std::string& tag : golden.getMemberNames()) {
    const std::optional<int> type = parse_sensor_type(tag);
    if (!type) by_type.fail(tag, "unknown sensor");
    by_type.read(tag.c_str(), &profile->golden[*type]);
  }
}

// A file's content: a text, or a list of lines.
void read_files(JsonReader* reader, Profile* profile) {
  const Json::Value& files = reader->take("files");
  if (files.isNull()) return;
  JsonReader by_path(files, reader->path("files"));
  for (const std::string& path : files.getMemberNames()) {
    if (path.empty() || path[0] != '/' || path.find("..") != std::string::npos) {
      by_path.fail(path, "wants an absolute path on the device");
    }
    std::string& content = profile->files[path];
    if (files[path].isString()) {
      content = files[path].asString();
      continue;
    }
    std::vector<std::string> lines;
    by_path.read(path.c_str(), &lines);
    for (const std::string& line : lines) content += line + "\n";
  }
}

void read_profile(const Json::Value& value, const std::string& source, Profile* profile) {
  JsonReader reader(value, source);
  reader.require("name");
  reader.read("name", &profile->name);
  reader.read("title", &profile->title);
  reader.read("properties", &profile->properties);
  reader.read("world", &profile->world);
  reader.read("faults", &profile->faults);
  try {
    (void)Faults::parse(profile->faults);
  } catch (const OptionError& error) {
    throw OptionError(reader.path("faults") + ": " + error.what(), error.word, error.known, error.lists);
  }
  const Json::Value& chips = reader.take("chips");
  if (!chips.isObject()) reader.fail("chips", "wants an object of chips by name");
  for (const std::string& name : chips.getMemberNames()) {
    profile->chips[name] = read_chip(name, chips[name], reader.path("chips") + "." + name);
  }
  read_sensors(&reader, profile);
  if (reader.has("panel")) {
    JsonReader panel(reader.take("panel"), reader.path("panel"));
    panel.read("max_brightness", &profile->max_brightness, 1, kBrightnessMax);
    profile->brightness = std::min(profile->brightness, profile->max_brightness);  // where the profile is silent
    panel.read("brightness", &profile->brightness, 0, profile->max_brightness);
    panel.finish();
  }
  if (reader.has("hub")) {
    JsonReader hub(reader.take("hub"), reader.path("hub"));
    hub.read("splits_crosstalk", &profile->hub.splits_crosstalk);
    hub.read("runs_colour_calibration", &profile->hub.runs_colour_calibration);
    hub.read("colour_run_ms", &profile->hub.colour_run_ms, 0, 60000);
    hub.read("tof_target_mm", &profile->hub.tof_target_mm, 0, 10000);
    hub.finish();
  }
  read_golden(&reader, profile);
  read_files(&reader, profile);
  reader.finish();
  World scene;
  for (const auto& [key, text] : profile->world) {
    const std::string problem = set_world(&scene, key, text);
    if (!problem.empty()) throw OptionError(reader.path("world") + ": " + problem);
  }
}

// The profiles that were read last, by text: phones of one make share theirs.
class Cache {
 public:
  ProfilePtr find(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = profiles_.find(text);
    return found == profiles_.end() ? nullptr : found->second;
  }
  void keep(const std::string& text, const ProfilePtr& profile) {
    constexpr size_t kMax = 16;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (profiles_.size() >= kMax) profiles_.clear();
    profiles_[text] = profile;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, ProfilePtr> profiles_;  // guarded by mutex_
};

Cache& cache() {
  static Cache* const instance = new Cache;
  return *instance;
}

}  // namespace

float Part::draw(const Draws& draws, int axis) const {
  const auto index = static_cast<size_t>(axis);
  if (!fixed.empty()) return fixed[std::min(index, fixed.size() - 1)];
  if (even) return from + (to - from) * static_cast<float>(draws.uniform(index));
  const auto error = sigma * static_cast<float>(draws.normal(index));
  return mean + std::clamp(error, -limit, limit);
}

ProfilePtr parse_profile(const std::string& text, const std::string& source) {
  const bool whole = text.find("\"extends\"") == std::string::npos;
  if (whole) {
    if (ProfilePtr known = cache().find(text)) return known;
  }
  const Json::Value value = resolve({text, source}, kMaxExtends);
  const auto profile = std::make_shared<Profile>();
  read_profile(value, source, profile.get());
  profile->text = whole ? text : json_text(value);
  cache().keep(profile->text, profile);
  return profile;
}

ProfilePtr load_profile(const std::string& name_or_file) {
  const Source source = find_source(name_or_file, "");
  try {
    if (!source.shipped) return parse_profile(source.text, source.name);
  } catch (const OptionError&) {
    throw;
  } catch (const PhoneError& error) {
    throw OptionError(error.what());
  }
  if (ProfilePtr known = cache().find(source.text)) return known;
  const ProfilePtr profile = parse_profile(source.text, source.name);
  cache().keep(source.text, profile);
  return profile;
}

std::vector<std::string> shipped_profiles() {
  std::vector<std::string> names;
  for (const ShippedProfile* shipped = kShippedProfiles; shipped->name != nullptr; ++shipped) {
    names.emplace_back(shipped->name);
  }
  return names;
}

}  // namespace phone
