#include "phone/hub/registry.h"

#include <memory>

#include "phone/core/files.h"

namespace phone {
namespace {

std::string parse(const std::string& text, Json::Value* out) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["allowSpecialFloats"] = true;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  try {
    if (reader->parse(text.data(), text.data() + text.size(), out, &errors)) return "";
  } catch (const Json::Exception& too_deep) {
    return too_deep.what();
  }
  return errors.empty() ? "no JSON" : errors;
}

std::string format(const Json::Value& json) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["useSpecialFloats"] = true;
  return Json::writeString(builder, json) + "\n";
}

}  // namespace

HubRegistry::HubRegistry(Hub* hub, const std::string& directory, bool durable)
    : hub_(hub), path_(directory + "/hub_registry.json"), durable_(durable) {}

std::string HubRegistry::load() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!file_exists(path_)) return hub_->load(Hub(nullptr, {}).save());
  std::string text;
  std::string error = read_file(path_, &text);
  if (!error.empty()) return error;
  Json::Value json;
  error = parse(text, &json);
  if (error.empty()) error = hub_->load(json);
  return error.empty() ? "" : path_ + ": " + error;
}

std::string HubRegistry::save() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return replace_file(path_, format(hub_->save()), durable_);
}

}  // namespace phone
