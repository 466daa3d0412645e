#include "phone/hub_message.h"

#include <OemTestMsg.h>
#include <string.h>
#include <time.h>

#include <cstdlib>

#include "files/json_text.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

const oem_test_msg::CodeRow* find_code(int32_t code) {
  for (const oem_test_msg::CodeRow& row : oem_test_msg::kCodes) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

// The letter of a word in "ff*" and the like; '-' beyond its end.
char letter_at(const char* words, int index) {
  const int length = static_cast<int>(strlen(words));
  if (length > 0 && words[length - 1] == '*' && index >= length - 1) return words[length - 2];
  return index < length && words[index] != '*' ? words[index] : '-';
}

const char* request_words(const oem_test_msg::CodeRow* row) { return row == nullptr ? "" : row->request_words; }

// Some commands answer differently by sensor or by what they are asked for.
const char* reply_words(const HubMessage& message, const oem_test_msg::CodeRow* row) {
  if (row == nullptr) return "i";
  const bool panel_or_collect = row->code == oem_test_msg::set_accelerometer_offset && message.request[0] == 0;
  if (panel_or_collect) return "f";
  const bool array_form = row->code == oem_test_msg::get_sar_offset && message.request[2] != 0;
  return array_form ? "if*" : row->reply_words;
}

// The words that mean something, and any other that is not zero.
Json::Value words_to_json(const int32_t* words, const char* letters, int count) {
  Json::Value out(Json::arrayValue);
  for (int i = 0; i < count; ++i) {
    const char letter = letter_at(letters, i);
    const bool repeats = i >= static_cast<int>(strlen(letters));
    if (words[i] == 0 && (letter == '-' || repeats)) continue;
    Json::Value word;
    word["word"] = i;
    if (letter == 'f') {
      float value = 0;
      memcpy(&value, &words[i], sizeof value);
      word["float"] = json_number(value);
    } else {
      word["int"] = words[i];
    }
    out.append(word);
  }
  return out;
}

std::string words_to_text(const Json::Value& words) {
  std::string out;
  for (const Json::Value& word : words) {
    out += out.empty() ? "" : " ";
    out += "w" + std::to_string(word["word"].asInt()) + "=";
    out += word.isMember("float") ? number_text(word["float"]) + "f" : std::to_string(word["int"].asInt());
  }
  return out.empty() ? "-" : out;
}

}  // namespace

std::string command_name(int32_t code) {
  const oem_test_msg::CodeRow* row = find_code(code);
  return row == nullptr ? std::to_string(code) : row->name;
}

int32_t parse_command(const std::string& text) {
  std::string names;
  for (const oem_test_msg::CodeRow& row : oem_test_msg::kCodes) {
    if (text == row.name) return row.code;
    names += std::string(" ") + row.name;
  }
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (!text.empty() && *end == '\0' && number >= 0 && number <= INT32_MAX) return static_cast<int32_t>(number);
  throw AppError(kUsage, "unknown hub command " + text + "; known are" + names + ", or a code");
}

Json::Value to_json(const HubMessage& message) {
  const oem_test_msg::CodeRow* row = find_code(message.request[1]);
  Json::Value out;
  const time_t seconds = static_cast<time_t>(message.time_ns / 1000000000);
  tm utc{};
  gmtime_r(&seconds, &utc);
  char stamp[40];
  strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &utc);
  char time[64];
  snprintf(time, sizeof time, "%s.%06ldZ", stamp, static_cast<long>(message.time_ns % 1000000000 / 1000));
  out["time"] = time;
  out["sensor_type"] = message.request[0];
  out["tag"] = tag_of(message.request[0]);
  out["code"] = message.request[1];
  out["command"] = command_name(message.request[1]);
  out["request"] = words_to_json(message.request + 2, request_words(row), oem_test_msg::kWords);
  out["answered"] = message.answered;
  if (message.answered) {
    out["reply"] = words_to_json(message.reply + 2, reply_words(message, row), oem_test_msg::kWords);
    if (message.reply[0] != message.request[0]) out["reply_sensor_type"] = message.reply[0];
    if (message.reply[1] != message.request[1]) out["reply_code"] = message.reply[1];
  }
  if (!message.note.empty()) out["note"] = message.note;
  return out;
}

std::string to_text(const Json::Value& message) {
  const std::string time = message["time"].asString();
  char head[128];
  snprintf(head, sizeof head, "%s  %-13s %3d %-24s", time.size() > 11 ? time.substr(11, 12).c_str() : time.c_str(),
           message["tag"].asCString(), message["code"].asInt(), message["command"].asCString());
  std::string out = std::string(head) + " " + words_to_text(message["request"]) + "  ->  ";
  out += message["answered"].asBool() ? words_to_text(message["reply"]) : "no answer";
  if (message.isMember("note")) out += "  (" + message["note"].asString() + ")";
  return out;
}

}  // namespace factory
