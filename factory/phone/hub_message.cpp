#include "phone/hub_message.h"

#include <OemTestMsg.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdlib>
#include <string_view>

#include "files/app_error.h"
#include "files/time_text.h"
#include "files/words.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

// One that is not in the table has no name, and answers with an integer.
const oem_test_msg::CodeRow& row_of(int32_t code) {
  static constexpr oem_test_msg::CodeRow kUnknown{0, nullptr, "", "i", ""};
  const auto* found = std::find_if(std::begin(oem_test_msg::kCodes), std::end(oem_test_msg::kCodes),
                                   [&](const oem_test_msg::CodeRow& row) { return row.code == code; });
  return found == std::end(oem_test_msg::kCodes) ? kUnknown : *found;
}

// Some commands answer differently by sensor or by what they are asked for.
const char* reply_words(const HubMessage& message) {
  const int32_t code = message.request[1];
  if (code == oem_test_msg::set_accelerometer_offset && message.request[0] == 0) return "f";  // panel, or collect
  if (code == oem_test_msg::get_sar_offset && message.request[2] != 0) return "if*";          // the array form
  return row_of(code).reply_words;
}

// The letter of a word in "ff*" and the like; '-' beyond its end.
char letter_at(std::string_view letters, size_t index) {
  if (letters.ends_with('*')) index = std::min(index, letters.size() - 2);
  return index < letters.size() ? letters[index] : '-';
}

// The words that mean something, and any other that is not zero.
std::vector<record::HubWord> decoded(const int32_t* words, std::string_view letters) {
  std::vector<record::HubWord> out;
  for (int i = 0; i < oem_test_msg::kWords; ++i) {
    const auto index = static_cast<size_t>(i);
    const char letter = letter_at(letters, index);
    if (words[i] == 0 && (letter == '-' || index >= letters.size())) continue;
    record::HubWord& word = out.emplace_back(record::HubWord{i, words[i]});
    if (letter == 'f') word.value = std::bit_cast<float>(words[i]);
  }
  return out;
}

}  // namespace

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
  const oem_test_msg::CodeRow& row = row_of(message.request[1]);
  record::HubMessage out;
  // With microseconds.
  using std::chrono::nanoseconds;
  const auto time =
      std::chrono::floor<std::chrono::microseconds>(std::chrono::sys_time<nanoseconds>(nanoseconds(message.time_ns)));
  out.time = iso_time(time);
  char micros[8];
  snprintf(micros, sizeof micros, "%03dZ", static_cast<int>((time - floor<std::chrono::milliseconds>(time)).count()));
  out.time.replace(out.time.size() - 1, 1, micros);
  out.sensor_type = message.request[0];
  out.tag = tag_of(message.request[0]);
  out.code = message.request[1];
  out.command = row.name == nullptr ? std::to_string(out.code) : row.name;
  out.request = decoded(message.request + 2, row.request_words);
  out.answered = message.answered;
  if (message.answered) {
    out.reply = decoded(message.reply + 2, reply_words(message));
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
