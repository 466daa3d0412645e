// Text files of the verdicts, against reading the same lines.
#pragma once

#include <SensorCalibration.h>
#include <SensorType.h>
#include <host/device_root.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace bench {

// A device root that holds the files, and an object that knows a few sensors.
class FilesRow {
 public:
  FilesRow() : root_((std::filesystem::temp_directory_path() / "sensor-cal-bench-XXXXXX").string()) {
    if (mkdtemp(root_.data()) == nullptr) abort();
    std::filesystem::create_directories(root_ + "/vendor/etc/sensors");
    host::set_device_root(root_);
    cal_.sensor_list.resize(kChips);
    for (size_t i = 0; i < kChips; ++i) cal_.sensor_list[i].name = chip(i) + " Sensor";
  }
  ~FilesRow() {
    host::set_device_root("");
    std::filesystem::remove_all(root_);
  }

 protected:
  static constexpr size_t kChips = 20;
  static std::string chip(size_t number) { return "maker" + std::to_string(number) + "x"; }

  std::string root_;
  SensorCalibration cal_;
};

// The table of verdicts: every line is kept, so that both build the same rows.
class JudgeTableRow : public FilesRow {
 public:
  explicit JudgeTableRow(size_t lines) : path_(root_ + "/vendor/etc/sensors/judge_calibrated.json") {
    std::ofstream file(path_);
    for (size_t i = 0; i < lines; ++i) {
      file << "Acc config.sensor.section" << i << ".data /vendor/etc/sensors/config" << i % 7 << ".json " << i % 3
           << ' ' << chip(i % kChips) << '\n';
    }
  }

  size_t ours() {
    cal_.get_judge_calibrated();
    return judge_calibrated.size();
  }

  size_t theirs() {
    rows_.clear();
    std::ifstream file(path_);
    std::string line;
    while (std::getline(file, line)) {
      std::vector<std::string> fields;
      size_t begin = 0;
      for (size_t end = line.find(' '); end != std::string::npos; end = line.find(' ', begin)) {
        fields.push_back(line.substr(begin, end - begin));
        begin = end + 1;
      }
      fields.push_back(line.substr(begin));
      rows_.push_back(std::move(fields));
    }
    return rows_.size();
  }

 private:
  const std::string path_;
  std::vector<std::vector<std::string>> rows_;
};

// A reference file whose wanted section is the last of many (`late`), or spans the whole file.
class ReferenceFileRow : public FilesRow {
 public:
  ReferenceFileRow(size_t bytes, bool late) : path_(root_ + "/reference.json") {
    std::ofstream file(path_);
    size_t written = 0;
    const auto write = [&](const std::string& text) {
      file << text << '\n';
      written += text.size() + 1;
    };
    write("{");
    if (!late) write("  \"wanted\": {");
    for (size_t i = 0; written < bytes; ++i) {
      write("    \"channel" + std::to_string(i) + "\": { \"offset\": 0.125, \"gain\": 1.0625, \"range\": [ -8, 8 ] },");
      if (i % 100 == 0) write("    \"ver\": \"1.0\", \"data\": \"0.1,0.2,0.3\",");
    }
    if (late) write("  \"wanted\": { \"ver\": \"2.0\", \"data\": \"0.4\"");
    write("  }");
    write("}");
    judge_calibrated = {{"Acc", "wanted", "/reference.json", "0", "maker0x"}};
  }

  size_t ours() { return cal_.GetSensorJsonData({"wanted"}, sensor_type::accelerometer, 0).size(); }

  size_t theirs() {
    std::ifstream file(path_);
    std::string line;
    size_t lines = 0;
    while (std::getline(file, line)) ++lines;
    return lines;
  }

 private:
  const std::string path_;
};

}  // namespace bench
