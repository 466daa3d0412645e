// The light sensor's JSON calibration file, which other components read: edited in place, never created.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <errno.h>
#include <json/json.h>
#include <stdlib.h>

#include <exception>
#include <memory>
#include <sstream>

#include "base/device_path.h"
#include "base/file_stream.h"
#include "base/log.h"
#include "base/numbers.h"

namespace {

constexpr int kChannels = 4;

std::string joined_lines(std::istream& file) {
  std::string text;
  std::string line;
  while (std::getline(file, line)) text += line;
  return text;
}

bool parse(const std::string& text, Json::Value* root) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  std::string errors;
  return reader->parse(text.data(), text.data() + text.size(), root, &errors);
}

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

// Makes the new document. 0, or 1 when the text is no document of the expected form. May throw.
int edit(const std::string& text, const float* scale, std::string* document) {
  Json::Value root;
  if (!parse(text, &root)) {
    LOGE("parse json error");
    return 1;
  }
  if (root["als"].empty()) {
    LOGE("Json file is null!");
    return 1;
  }
  Json::Value& section = root["als"]["channel_scale"];
  section["scale_data"] = scale_text(scale);
  section["ver"] = std::to_string(saturating_add(leading_number(section["ver"].asString()), 1));
  *document = written(root);
  return 0;
}

}  // namespace

int SensorCalibration::WirteScaleToFileJson(float* scale, std::string const& path) {
  const std::string host_path = device_path(path.c_str());
  InputFile input(host_path);
  if (!input.is_open()) {
    LOGE("open json file fail!");
    return 1;
  }
  // The document is complete before the file is touched: whatever the JSON library throws leaves it as it was.
  std::string document;
  try {
    if (edit(joined_lines(input), scale, &document) != 0) return 1;
  } catch (const std::exception&) {
    LOGE("parse json error");  // nested too deep, or a member that is not what its name says
    return 1;
  }
  input.close();
  OutputFile output(host_path);
  if (output.is_open()) {
    output << document;
  } else {
    LOGE("open json file fail!!!");  // deliberately no failure: the new document was built
  }
  return 0;
}
