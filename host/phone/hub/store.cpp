#include "phone/hub/store.h"

#include <cmath>
#include <limits>

#include "phone/hub/store_fields.h"

namespace phone {
namespace {

constexpr int kFormat = 1;

// Values to JSON and back. from_value() returns whether the value had the right shape.

Json::Value to_value(float value) { return static_cast<double>(value); }
Json::Value to_value(int32_t value) { return value; }

template <size_t N>
Json::Value to_value(const std::array<float, N>& values) {
  Json::Value out(Json::arrayValue);
  for (const float value : values) out.append(to_value(value));
  return out;
}

Json::Value to_value(const LuxLevel& level) {
  Json::Value out;
  out["brightness"] = level.brightness;
  out["lux"] = level.lux;
  out["scale"] = to_value(level.scale);
  return out;
}

Json::Value to_value(const ColourLevel& level) {
  Json::Value out;
  out["brightness"] = to_value(level.brightness);
  out["channels"] = to_value(level.channels);
  return out;
}

bool from_value(const Json::Value& json, float* out) {
  if (!json.isNumeric()) return false;
  const double value = json.asDouble();
  if (std::isfinite(value) && std::fabs(value) > std::numeric_limits<float>::max()) return false;
  *out = static_cast<float>(value);
  return true;
}

bool from_value(const Json::Value& json, int32_t* out) {
  if (!json.isInt()) return false;
  *out = json.asInt();
  return true;
}

template <size_t N>
bool from_value(const Json::Value& json, std::array<float, N>* out) {
  if (!json.isArray() || json.size() != N) return false;
  for (Json::ArrayIndex i = 0; i < N; ++i) {
    if (!from_value(json[i], &(*out)[i])) return false;
  }
  return true;
}

bool from_value(const Json::Value& json, LuxLevel* out) {
  return json.isObject() && json.size() == 3 && from_value(json["brightness"], &out->brightness) &&
         from_value(json["lux"], &out->lux) && from_value(json["scale"], &out->scale);
}

bool from_value(const Json::Value& json, ColourLevel* out) {
  return json.isObject() && json.size() == 2 && from_value(json["brightness"], &out->brightness) &&
         from_value(json["channels"], &out->channels);
}

template <typename T>
Json::Value to_value(const std::map<int, T>& map) {
  Json::Value out(Json::objectValue);
  for (const auto& [key, value] : map) out[std::to_string(key)] = to_value(value);
  return out;
}

// Only the form that to_value() writes: "012" and "12 " are no keys, nor is what an int does not hold.
bool from_key(const std::string& text, int* out) {
  *out = static_cast<int>(std::strtoll(text.c_str(), nullptr, 10));
  return std::to_string(*out) == text;
}

template <typename T>
bool from_value(const Json::Value& json, std::map<int, T>* out) {
  if (!json.isObject()) return false;
  for (const std::string& name : json.getMemberNames()) {
    int key = 0;
    if (!from_key(name, &key) || !from_value(json[name], &(*out)[key])) return false;
  }
  return true;
}

class Saver {
 public:
  template <typename Body>
  void section(const std::string& name, Body body) {
    Saver inner;
    body(inner);
    if (!inner.json.empty()) json[name] = inner.json;
  }
  template <typename T, typename... Default>
  void field(const char* name, const char* /*unit*/, const std::optional<T>& value, const Default&...) {
    if (value) json[name] = to_value(*value);
  }
  template <typename T>
  void field(const char* name, const char* /*unit*/, const std::map<int, T>& map) {
    if (!map.empty()) json[name] = to_value(map);
  }

  Json::Value json{Json::objectValue};
};

class Describer {
 public:
  template <typename Body>
  void section(const std::string& name, Body body) {
    Describer inner;
    body(inner);
    if (!inner.json.empty()) json[name] = inner.json;
  }
  template <typename T>
  void field(const char* name, const char* unit, const std::optional<T>& value) {
    if (value) add(name, unit, to_value(*value), true);
  }
  template <typename T, typename Default>
  void field(const char* name, const char* unit, const std::optional<T>& value, const Default& unset) {
    add(name, unit, to_value(value.value_or(unset)), value.has_value());
  }
  template <typename T>
  void field(const char* name, const char* unit, const std::map<int, T>& map) {
    if (!map.empty()) add(name, unit, to_value(map), true);
  }

  Json::Value json{Json::objectValue};

 private:
  void add(const char* name, const char* unit, Json::Value value, bool set) {
    Json::Value& entry = json[name];
    entry["value"] = std::move(value);
    entry["unit"] = unit;
    entry["set"] = set;
  }
};

// Takes out of `json` what it reads, so that what is left over is unknown.
class Loader {
 public:
  Loader(Json::Value json, std::string path, std::string* error)
      : json_(std::move(json)), path_(std::move(path)), error_(error) {}

  template <typename Body>
  void section(const std::string& name, Body body) {
    Json::Value part;
    if (!take(name, &part)) return;
    Loader inner(std::move(part), path_ + name + ".", error_);
    if (!inner.json_.isObject()) return fail(name, "not an object");
    body(inner);
    inner.expect_no_more();
  }
  template <typename T, typename... Default>
  void field(const char* name, const char* /*unit*/, std::optional<T>& value, const Default&...) {
    Json::Value part;
    if (!take(name, &part)) return;
    if (!from_value(part, &value.emplace())) fail(name, "not a value of its kind");
  }
  template <typename T>
  void field(const char* name, const char* /*unit*/, std::map<int, T>& map) {
    Json::Value part;
    if (take(name, &part) && !from_value(part, &map)) fail(name, "not a table of its kind");
  }
  void expect_no_more() {
    if (!json_.empty()) fail(json_.getMemberNames().front(), "not known");
  }
  void expect_format() {
    Json::Value format;
    if (!take("format", &format)) return fail("format", "missing");
    if (format != kFormat) fail("format", "not " + std::to_string(kFormat));
  }

 private:
  bool take(const std::string& name, Json::Value* out) { return json_.removeMember(name, out); }
  void fail(const std::string& name, const std::string& what) {
    if (error_->empty()) *error_ = path_ + name + ": " + what;
  }

  Json::Value json_;
  std::string path_;
  std::string* error_;
};

template <typename T>
const T& at_or_empty(const std::map<int, T>& map, int key) {
  static const T empty{};
  const auto found = map.find(key);
  return found == map.end() ? empty : found->second;
}

}  // namespace

const LightStore& Store::light(int plain_type) const { return at_or_empty(lights, plain_type); }
const SarStore& Store::sar(int type) const { return at_or_empty(sars, type); }
Vector3 Store::offset(int type) const { return at_or_empty(offsets, type).value_or(Vector3{}); }

Json::Value to_json(Store store) {
  Saver saver;
  saver.json["format"] = kFormat;
  store_fields(saver, store);
  return saver.json;
}

std::string from_json(const Json::Value& json, Store* out) {
  if (!json.isObject()) return "not an object";
  std::string error;
  Store store;
  Loader loader(json, "", &error);
  loader.expect_format();
  store_fields(loader, store);
  loader.expect_no_more();
  if (error.empty()) *out = std::move(store);
  return error;
}

Json::Value describe(Store store) {
  Describer describer;
  sensor_fields(describer, store);
  return describer.json;
}

}  // namespace phone
