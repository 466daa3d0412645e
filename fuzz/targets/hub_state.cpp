// What a hub kept is refused in words, or it is the state that it writes again.
#include <memory>

#include "phone/hub/store.h"
#include "support/checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["allowSpecialFloats"] = true;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  const char* const text = reinterpret_cast<const char*>(data);
  Json::Value json;
  try {
    if (!reader->parse(text, text + size, &json, nullptr)) return 0;
  } catch (const Json::Exception&) {
    return 0;
  }
  phone::Store store;
  if (!phone::from_json(json, &store).empty()) return 0;
  const Json::Value written = phone::to_json(store);
  phone::Store again;
  HOLDS(phone::from_json(written, &again).empty());
  Json::StreamWriterBuilder writer;
  writer["useSpecialFloats"] = true;
  HOLDS(Json::writeString(writer, phone::to_json(again)) == Json::writeString(writer, written));
  return 0;
}
