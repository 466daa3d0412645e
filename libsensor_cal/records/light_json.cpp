// The light sensor's JSON calibration file, which other components read: edited in place, never created.
//
// The JSON library throws, or ends the process where it is built without exceptions, when a text is nested too deep and
// when a member is taken from what has none. Both are looked at before it is asked.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <errno.h>
#include <json/json.h>
#include <stdlib.h>

#include <memory>
#include <sstream>

#include "base/device_path.h"
#include "base/file_stream.h"
#include "base/log.h"
#include "base/numbers.h"
#include "records/json_nesting.h"

namespace {

constexpr int kChannels = 4;
constexpr size_t kLongest = (size_t{1} << 30) - 1;  // the JSON library has no room for a longer name

std::string joined_lines(std::istream& file) {
  std::string text;
  std::string line;
  while (std::getline(file, line)) text += line;
  return text;
}

bool parse(const std::string& text, Json::Value* root) {
  const Json::CharReaderBuilder builder;
  if (text.size() > kLongest || !json_nested_within(text, builder.settings_["stackLimit"].asUInt())) return false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  return reader->parse(text.data(), text.data() + text.size(), root, &errors);
}

// Whether members may be asked for.
bool takes_members(const Json::Value& value) { return value.isObject() || value.isNull(); }

// Every scale is followed by a comma, the last one too.
std::string scale_text(const float* scale) {
  std::string text;
  for (int i = 0; i < kChannels; ++i) text += std::to_string(scale[i]) + ",";
  return text;
}

// What atoi() gives, but defined for every number.
int32_t leading_number(const std::string& text) {
  const long value = strtol(text.c_str(), nullptr, 10);
  return value > INT32_MAX ? INT32_MAX : value < INT32_MIN ? INT32_MIN : static_cast<int32_t>(value);
}

std::string written(const Json::Value& root) {
  const std::unique_ptr<Json::StreamWriter> writer(Json::StreamWriterBuilder().newStreamWriter());
  std::ostringstream out;
  writer->write(root, &out);
  return out.str();
}

bool refuse(const char* line) {
  LOGE("%s", line);
  return false;
}

// Makes the new document. False when the text is no document of the expected form.
bool edit(const std::string& text, const float* scale, std::string* document) {
  constexpr char kUnreadable[] = "parse json error";
  Json::Value root;
  if (!parse(text, &root) || !takes_members(root)) return refuse(kUnreadable);
  Json::Value& light = root["als"];
  if (light.empty()) return refuse("Json file is null!");
  if (!light.isObject()) return refuse(kUnreadable);
  Json::Value& section = light["channel_scale"];
  if (!takes_members(section)) return refuse(kUnreadable);
  Json::Value& version = section["ver"];
  if (!version.isConvertibleTo(Json::stringValue)) return refuse(kUnreadable);
  version = std::to_string(saturating_add(leading_number(version.asString()), 1));
  section["scale_data"] = scale_text(scale);
  *document = written(root);
  return true;
}

}  // namespace

int SensorCalibration::WirteScaleToFileJson(float* scale, std::string const& path) {
  const std::string host_path = device_path(path.c_str());
  InputFile input(host_path);
  if (!input.is_open()) {
    LOGE("open json file fail!");
    return 1;
  }
  // The document is complete before the file is touched.
  std::string document;
  if (!edit(joined_lines(input), scale, &document)) return 1;
  input.close();
  OutputFile output(host_path);
  if (output.is_open()) {
    output << document;
  } else {
    LOGE("open json file fail!!!");  // deliberately no failure: the new document was built
  }
  return 0;
}
