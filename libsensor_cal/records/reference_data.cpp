// Picks a sensor's reference texts out of the file that its row of the verdict table names. The file is searched as
// text, line by line; each line is passed over once, however long it is.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <string.h>

#include <utility>

#include "base/device_path.h"
#include "base/file_stream.h"
#include "base/log.h"
#include "records/table_row.h"

namespace {

constexpr char kVersion[] = "ver";  // anywhere, also inside longer words: deliberately loose
constexpr char kData[] = "data\"";
// How far after a match's start the search for the opening quote of its text begins.
constexpr size_t kVersionReach = 4;
constexpr size_t kDataReach = 5;

// What counts, and what begins a word that does: most of a line is neither, and files are long.
constexpr char kStarts[] = {'{', '}', kVersion[0], kData[0], '\0'};

// Finds quotes from positions that never go back, so that a line is searched once and not once a match.
class QuoteCursor {
 public:
  explicit QuoteCursor(const std::string& line) : line_(line), position_(line.find('"')) {}

  // The first quote at or after `from`.
  size_t next(size_t from) {
    if (position_ != std::string::npos && position_ < from) position_ = line_.find('"', from);
    return position_;
  }

 private:
  const std::string& line_;
  size_t position_;
};

class Section {
 public:
  // Takes what one line of the section holds.
  void scan(const std::string& line) {
    QuoteCursor opening(line);
    QuoteCursor closing(line);
    // A NUL in the file stops the search too, and is passed over like all that does not matter.
    const auto next = [&](size_t from) { return from + strcspn(line.c_str() + from, kStarts); };
    for (size_t i = next(0); i < line.size(); i = next(i + 1)) {
      switch (line[i]) {
        case '{':
          ++opened_;
          break;
        case '}':
          ++closed_;
          break;
        case kVersion[0]:
          if (line.compare(i, sizeof kVersion - 1, kVersion) != 0) break;
          take_text(line, &opening, &closing, i + kVersionReach, &versions_);
          break;
        case kData[0]:
          if (line.compare(i, sizeof kData - 1, kData) != 0) break;
          take_text(line, &opening, &closing, i + kDataReach, &data_);
          break;
        default:
          break;
      }
    }
  }

  bool balanced() const { return opened_ == closed_; }

  std::vector<std::vector<std::string>> lists() && { return {std::move(versions_), std::move(data_)}; }

 private:
  // The text in quotes, to the line's end where the closing quote is missing. Without an opening quote there is none.
  static void take_text(const std::string& line, QuoteCursor* opening, QuoteCursor* closing, size_t from,
                        std::vector<std::string>* list) {
    const size_t quote = opening->next(from);
    if (quote == std::string::npos) return;
    const size_t end = closing->next(quote + 1);
    list->push_back(line.substr(quote + 1, end == std::string::npos ? end : end - quote - 1));
  }

  size_t opened_ = 0;
  size_t closed_ = 0;
  std::vector<std::string> versions_;
  std::vector<std::string> data_;
};

// The file of the chosen row; empty when no row fits. False when the row that decides is invalid.
bool choose_file(const std::string& tag, unsigned mode, std::string* path) {
  for (const std::vector<std::string>& row : judge_calibrated) {
    if (!row_is_for(row, tag)) continue;
    if (row_has_mode(row, mode)) {
      *path = row[kRowFile];
      return true;
    }
    if (mode == 1 || mode == 2) continue;
    LOGI("GetSensorJsonData judge_calibrated struct is invalid!\n");
    return false;
  }
  return true;
}

// Reads up to the line that holds the last key, each key on a line after the one before it.
bool find_section(std::istream& file, const std::vector<std::string>& keys, std::string* line) {
  size_t k = 0;
  while (k < keys.size() && std::getline(file, *line)) {
    if (line->find(keys[k]) != std::string::npos) ++k;
  }
  return !keys.empty() && k == keys.size();
}

}  // namespace

std::vector<std::vector<std::string>> SensorCalibration::GetSensorJsonData(std::vector<std::string> keys, int type,
                                                                           unsigned int mode) {
  const std::string tag = getSensorName(type);  // copied: the text of an unknown number lies in a shared buffer
  std::string path;
  if (!choose_file(tag, mode, &path)) return {};
  InputFile file;
  if (!path.empty()) file.open(device_path(path.c_str()));
  if (!file.is_open()) {
    LOGI("open file fail!\n");
    return {};
  }
  LOGI("open config/sensor.json file success!\n");

  Section section;
  std::string line;
  if (find_section(file, keys, &line)) {
    section.scan(line);  // the line of the last key is the section's first, and never its last
    while (std::getline(file, line)) {
      section.scan(line);
      if (section.balanced()) break;
    }
  }
  return std::move(section).lists();
}
