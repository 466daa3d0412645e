#include "phone/core/json_reader.h"

#include <cmath>
#include <memory>

#include "phone/core/phone.h"

namespace phone {

Json::Value parse_json(const std::string& text, const std::string& source) {
  Json::CharReaderBuilder builder;
  builder["failIfExtra"] = true;
  builder["rejectDupKeys"] = true;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  bool good = false;
  try {
    good = reader->parse(text.data(), text.data() + text.size(), &value, &errors);
  } catch (const Json::Exception& error) {
    errors = error.what();  // nested too deep
  }
  if (!good) {
    // "* Line 1, Column 2\n  What.\n", once for each fault: the first one, in a line.
    if (const size_t place = errors.find("\n  "); errors.starts_with("* ") && place != std::string::npos)
      errors = errors.substr(2, place - 2) + ": " + errors.substr(place + 3);
    throw PhoneError(source + ": not JSON: " + errors.substr(0, errors.find('\n')));
  }
  return value;
}

std::string json_text(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  return Json::writeString(builder, value) + "\n";
}

JsonReader::JsonReader(const Json::Value& value, std::string where) : value_(value), where_(std::move(where)) {
  if (!value_.isObject()) throw PhoneError(where_ + ": wants an object");
}

void JsonReader::fail(const std::string& key, const std::string& what) const {
  throw PhoneError(path(key) + ": " + what);
}

const Json::Value& JsonReader::take(const char* key) {
  taken_.insert(key);
  return value_[key];
}

void JsonReader::read(const char* key, float* out, double low, double high) {
  const Json::Value& value = take(key);
  if (value.isNull()) return;
  if (!value.isNumeric()) fail(key, "wants a number");
  const double number = value.asDouble();
  if (!(number >= low && number <= high)) fail(key, "out of range: " + value.asString());
  *out = static_cast<float>(number);
}

void JsonReader::read(const char* key, int* out, int64_t low, int64_t high) {
  const Json::Value& value = take(key);
  if (value.isNull()) return;
  if (!value.isInt64()) fail(key, "wants a whole number");
  if (value.asInt64() < low || value.asInt64() > high) fail(key, "out of range: " + value.asString());
  *out = value.asInt();
}

void JsonReader::read(const char* key, bool* out) {
  const Json::Value& value = take(key);
  if (value.isNull()) return;
  if (!value.isBool()) fail(key, "wants true or false");
  *out = value.asBool();
}

void JsonReader::read(const char* key, std::string* out) {
  const Json::Value& value = take(key);
  if (value.isNull()) return;
  if (!value.isString()) fail(key, "wants a text");
  *out = value.asString();
}

void JsonReader::read(const char* key, std::vector<float>* out) {
  const Json::Value& value = take(key);
  if (value.isNull()) return;
  if (!value.isArray()) fail(key, "wants a list of numbers");
  out->clear();
  for (const Json::Value& item : value) {
    if (!item.isNumeric()) fail(key, "wants a list of numbers");
    const double number = item.asDouble();
    if (!(std::fabs(number) <= kLargest)) fail(key, "out of range: " + item.asString());
    out->push_back(static_cast<float>(number));
  }
}

void JsonReader::read(const char* key, std::vector<std::string>* out) {
  const Json::Value& value = take(key);
  if (value.isNull()) return;
  if (!value.isArray()) fail(key, "wants a list of texts");
  out->clear();
  for (const Json::Value& item : value) {
    if (!item.isString()) fail(key, "wants a list of texts");
    out->push_back(item.asString());
  }
}

void JsonReader::read(const char* key, std::map<std::string, std::string>* out) {
  const Json::Value& value = take(key);
  if (value.isNull()) return;
  if (!value.isObject()) fail(key, "wants an object");
  for (const std::string& name : value.getMemberNames()) {
    if (!value[name].isString()) fail(std::string(key) + "." + name, "wants a text");
    (*out)[name] = value[name].asString();
  }
}

void JsonReader::require(const char* key) const {
  if (!has(key)) fail(key, "missing");
}

void JsonReader::finish() const {
  for (const std::string& name : value_.getMemberNames()) {
    if (taken_.count(name) == 0) fail(name, "unknown key");
  }
}

}  // namespace phone
