#include "phone/hub_message.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <optional>
#include <string_view>

#include "files/app_error.h"
#include "files/numbers.h"
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
  if (code == oem_test_msg::get_sar_offset && message.request[2] != 0) return "rf*";          // the array form
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
    if (letter == 'f' || letter == 'R') word.value = std::bit_cast<float>(words[i]);
  }
  return out;
}

// "12", "12.0", "1e-3" and "0.5f"; "nan" too.
std::optional<float> read_float(const std::string& text) {
  const bool marked = text.ends_with('f') && text != "inf" && text != "-inf";
  return read_number<float>(text.substr(0, text.size() - (marked ? 1 : 0)));
}

// One of a code without a name, '-', is of the kind that it looks like.
int32_t parse_word(const std::string& text, char letter) {
  const bool whole = text.find_first_not_of("-0123456789") == std::string::npos;
  const auto integer = read_number<int32_t>(text);
  const auto number = read_float(text);
  if (integer && letter != 'f') return *integer;
  if (number && (letter == 'f' || (letter == '-' && !whole))) return std::bit_cast<int32_t>(*number);
  throw AppError(kUsage, "word " + text + ": give " + (letter == 'f' ? "" : "an integer of 32 bits (12)") +
                             (letter == '-' ? ", or " : "") + (letter == 'i' ? "" : "a float (12.0, 12f)"));
}

// "set-acc-offset takes 3 words, not 1: ..."
void require_count(const oem_test_msg::CodeRow& command, const std::vector<std::string>& texts) {
  const std::string_view letters = command.request_words;
  size_t wanted = letters.size();
  if (letters.ends_with('*'))
    wanted = 1 + static_cast<size_t>(std::clamp(read_float(texts.empty() ? "" : texts[0]).value_or(0), 1.0F, 15.0F));
  if (texts.size() == wanted) return;
  throw AppError(kUsage, std::string(command.name) + " takes " + counted(wanted, "word") + ", not " +
                             std::to_string(texts.size()) + ": " + command.meaning);
}

}  // namespace

oem_test_msg::CodeRow parse_command(const std::string& text) {
  std::vector<std::string> names;
  for (const oem_test_msg::CodeRow& row : oem_test_msg::kCodes) {
    if (text == row.name) return row;
    names.emplace_back(row.name);
  }
  const auto code = read_number<int32_t>(text);
  if (code && *code >= 0) return {*code, nullptr, "", "", ""};
  throw AppError(
      kUsage, "unknown hub command '" + text + "'" + or_nearest(text, names, "`sensorcal hub send --help` lists all"));
}

std::vector<int32_t> parse_words(const oem_test_msg::CodeRow& command, const std::vector<std::string>& texts) {
  if (command.name != nullptr) require_count(command, texts);
  std::vector<int32_t> out;
  for (const std::string& text : texts) out.push_back(parse_word(text, letter_at(command.request_words, out.size())));
  return out;
}

bool refused(const HubMessage& message) {
  const std::string_view letters = reply_words(message);
  const int32_t* const words = message.reply + 2;
  for (size_t i = 0; i < letters.size(); ++i) {
    if ((letters[i] == 'r' && words[i] != 0) || (letters[i] == 'R' && std::bit_cast<float>(words[i]) != 0)) return true;
  }
  // Of a command that it does not know, or not for this sensor.
  return words[0] == -1 && (row_of(message.request[1]).name == nullptr || letters.front() != 'i');
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

std::string refusal(const HubMessage& message) {
  constexpr int32_t kUnread[] = {oem_test_msg::set_proximity, oem_test_msg::set_lux_scale,
                                 oem_test_msg::set_pressure_offset, oem_test_msg::reset_gyroscope_bias};
  const int32_t code = message.request[1];
  const bool unread = std::count(std::begin(kUnread), std::end(kUnread), code) != 0;
  if (!message.answered || !unread || !refused(message)) return "";
  return "the hub answered " + std::to_string(message.reply[2]) + " to " + row_of(code).name;
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
