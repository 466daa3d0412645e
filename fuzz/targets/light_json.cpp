// The light sensor's JSON file: refused whole and left as it was, or written with the scales, the next revision and
// everything else as it was read.
#include <SensorCalibration.h>
#include <json/json.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "support/checks.h"
#include "support/device_files.h"

namespace {

bool in_library = false;

bool parse(std::string text, Json::Value* root) {
  text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  std::string errors;
  try {
    return reader->parse(text.data(), text.data() + text.size(), root, &errors);
  } catch (const std::exception&) {
    return false;
  }
}

// What the member says, where it has a text form at all.
std::string revision_after(const Json::Value& old) {
  const long number = strtol(old.asString().c_str(), nullptr, 10);
  const long next = std::min<long>(std::clamp<long>(number, INT32_MIN, INT32_MAX) + 1, INT32_MAX);
  return std::to_string(next);
}

}  // namespace

// In the place of the JSON library's own: one that is built without exceptions ends the process here.
void Json::throwRuntimeError(String const& message) {
  HOLDS(!in_library);
  throw Json::RuntimeError(message);
}
void Json::throwLogicError(String const& message) {
  HOLDS(!in_library);
  throw Json::LogicError(message);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr char kPath[] = "/mnt/vendor/nvcfg/sensor/lightSensorCali.json";
  static fuzz::DeviceFile* const file = new fuzz::DeviceFile(kPath);
  static SensorCalibration* const cal = new SensorCalibration;
  static const std::string path = kPath;
  fuzz::quiet_log(size);
  FuzzedDataProvider in(data, size);
  float scale[4];
  for (float& value : scale) value = fuzz::any_float(&in);
  const std::string text = in.ConsumeRemainingBytesAsString();

  file->set(text);
  in_library = true;
  const int result = cal->WirteScaleToFileJson(scale, path);
  in_library = false;
  const std::string after = file->get();
  HOLDS(result == 0 || result == 1);
  Json::Value before;
  if (result == 1) {
    HOLDS(after == text);
    return 0;
  }
  HOLDS(parse(text, &before));
  Json::Value written;
  if (!parse(after, &written)) {
    // The JSON library may write a comment where it does not read it, also one whose two characters lie in two lines.
    std::string joined = text;
    std::erase_if(joined, [](char c) { return c == '\n' || c == '\r'; });
    HOLDS(joined.find("//") != std::string::npos || joined.find("/*") != std::string::npos);
    return 0;
  }
  Json::Value& section = written["als"]["channel_scale"];
  std::string scales;
  for (const float value : scale) scales += std::to_string(value) + ",";
  HOLDS(section["scale_data"] == scales);
  HOLDS(section["ver"] == revision_after(before["als"]["channel_scale"]["ver"]));
  // The rest: as the library's writer puts what its reader read.
  before["als"]["channel_scale"]["scale_data"] = section["scale_data"];
  before["als"]["channel_scale"]["ver"] = section["ver"];
  HOLDS(after == Json::writeString(Json::StreamWriterBuilder(), before));
  return 0;
}
