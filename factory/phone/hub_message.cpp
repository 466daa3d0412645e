#include "phone/hub_message.h"

#include <OemTestMsg.h>
#include <string.h>

#include <chrono>
#include <cstdlib>

#include "files/app_error.h"
#include "files/time_text.h"
#include "files/words.h"
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
std::vector<record::HubWord> decoded(const int32_t* words, const char* letters) {
  std::vector<record::HubWord> out;
  for (int i = 0; i < oem_test_msg::kWords; ++i) {
    const char letter = letter_at(letters, i);
    const bool repeats = i >= static_cast<int>(strlen(letters));
    if (words[i] == 0 && (letter == '-' || repeats)) continue;
    record::HubWord& word = out.emplace_back();
    word.word = i;
    float number = 0;
    memcpy(&number, &words[i], sizeof number);
    if (letter == 'f') {
      word.value = number;
    } else {
      word.value = words[i];
    }
  }
  return out;
}

}  // namespace

std::string command_name(int32_t code) {
  const oem_test_msg::CodeRow* row = find_code(code);
  return row == nullptr ? std::to_string(code) : row->name;
}

int32_t parse_command(const std::string& text) {
  std::vector<std::string> names;
  for (const oem_test_msg::CodeRow& row : oem_test_msg::kCodes) {
    if (text == row.name) return row.code;
    names.emplace_back(row.name);
  }
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (!text.empty() && *end == '\0' && number >= 0 && number <= INT32_MAX) return static_cast<int32_t>(number);
  throw AppError(kUsage, "unknown hub command '" + text + "'" + or_nearest(text, names));
}

record::HubMessage decoded(const HubMessage& message) {
  const oem_test_msg::CodeRow* row = find_code(message.request[1]);
  record::HubMessage out;
  // With microseconds.
  out.time = iso_time(std::chrono::system_clock::time_point(std::chrono::nanoseconds(message.time_ns)));
  char micros[8];
  snprintf(micros, sizeof micros, "%03dZ", static_cast<int>(message.time_ns / 1000 % 1000));
  out.time.replace(out.time.size() - 1, 1, micros);
  out.sensor_type = message.request[0];
  out.tag = tag_of(message.request[0]);
  out.code = message.request[1];
  out.command = command_name(message.request[1]);
  out.request = decoded(message.request + 2, request_words(row));
  out.answered = message.answered;
  if (message.answered) {
    out.reply = decoded(message.reply + 2, reply_words(message, row));
    if (message.reply[0] != message.request[0]) out.reply_sensor_type = message.reply[0];
    if (message.reply[1] != message.request[1]) out.reply_code = message.reply[1];
  }
  out.note = message.note;
  return out;
}

std::string to_text(const record::HubMessage& message) {
  const std::string time = message.time.size() > 11 ? message.time.substr(11, 12) : message.time;
  char head[128];
  snprintf(head, sizeof head, "%s  %-13s %3d %-24s", time.c_str(), message.tag.c_str(), message.code,
           message.command.c_str());
  const auto words = [](const std::vector<record::HubWord>& list) { return list.empty() ? "-" : record::words(list); };
  return std::string(head) + " " + words(message.request) + "  ->  " +
         (message.answered ? words(message.reply) : "no answer") +
         (message.note.empty() ? "" : "  (" + message.note + ")");
}

}  // namespace factory
