// `sensorcal hub`: what the sensor hub holds, what was sent to it, and any message by hand.
#include <OemTestMsg.h>
#include <errno.h>
#include <string.h>
#include <time.h>

#include <algorithm>

#include <charconv>
#include <fstream>
#include <iostream>
#include <memory>

#include "cli/terminal.h"
#include "commands/commands.h"
#include "files/json_text.h"
#include "phone/hub_message.h"
#include "phone/session.h"
#include "record/record_json.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

std::string values_text(const Json::Value& value) {
  if (value.isNull()) return "-";
  if (value.isDouble())
    return number_text(json_number(static_cast<float>(value.asDouble())));  // the hub's words are floats
  if (!value.isArray() && !value.isObject()) return number_text(value);
  std::string out;
  for (auto entry = value.begin(); entry != value.end(); ++entry) {
    out += out.empty() ? "" : "  ";
    if (value.isObject()) out += entry.name() + "=";
    out += values_text(*entry);
  }
  return out.empty() ? "-" : out;
}

int show_state(const Options& options) {
  Session session(options);
  const Json::Value state = session.fixture().hub_state();
  if (state.isNull()) throw AppError(kUsage, "this phone's hub does not show what it holds; `report` and `get` ask it");
  if (options.json) {
    std::cout << json_pretty(state) << "\n";
    return kPassed;
  }
  std::vector<std::vector<std::string>> rows = {{"sensor", "value", "holds", "unit", ""}};
  for (const std::string& sensor : state.getMemberNames()) {
    for (const std::string& name : state[sensor].getMemberNames()) {
      const Json::Value& entry = state[sensor][name];
      rows.push_back({sensor, name, values_text(entry["value"]), entry["unit"].asString(),
                      entry["set"].asBool() ? "set" : faint("default")});
    }
  }
  std::cout << table(rows);
  return kPassed;
}

int show_log(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw AppError(kUsage, path + ": " + strerror(errno));
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty()) continue;
    try {
      std::cout << to_text(record::read_hub_message(line)) << "\n";
    } catch (const record::FormatError& error) {
      throw AppError(kUsage, path + ":" + std::to_string(number) + ": not a hub message: " + error.what());
    }
  }
  return kPassed;
}

struct Message {
  std::string sensor;
  std::string command;
  std::vector<std::string> words;
};

// "12" is an integer; "12.0", "1e-3" and "0.5f" are floats; "nan" too.
int32_t parse_word(const std::string& text) {
  int32_t integer = 0;
  const char* end = text.data() + text.size();
  const auto whole = std::from_chars(text.data(), end, integer);
  if (whole.ec == std::errc() && whole.ptr == end) return integer;
  if (!text.empty() && text.back() == 'f' && text != "inf" && text != "-inf") --end;
  float number = 0;
  const auto real = std::from_chars(text.data(), end, number);
  const bool too_large = whole.ec == std::errc::result_out_of_range && whole.ptr == text.data() + text.size();
  if (too_large || real.ec != std::errc() || real.ptr != end) {
    throw AppError(kUsage, "word " + text + ": give an integer of 32 bits (12), or a float (12.0, 12f)");
  }
  memcpy(&integer, &number, sizeof integer);
  return integer;
}

int send(const Options& options, const Message& arguments) {
  _ssc_oem_test_msg message{};
  message.sensor_type = parse_tag(arguments.sensor);
  message.msg_type = parse_command(arguments.command);
  if (arguments.words.size() > oem_test_msg::kWords) throw AppError(kUsage, "a message has 16 words");
  for (size_t i = 0; i < arguments.words.size(); ++i) message.offset_ct[i] = parse_word(arguments.words[i]);

  Session session(options);
  session.require_ready();
  HubMessage shown;
  memcpy(shown.request, &message, sizeof message);
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  shown.time_ns = static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
  session.cal().cal_api->send_ssc_oem_test_msg(&message);
  memcpy(shown.reply, &message, sizeof message);
  // A call that never answers leaves all zeros behind, its own type and code included.
  const bool zeros =
      std::all_of(std::begin(shown.reply), std::end(shown.reply), [](int32_t word) { return word == 0; });
  shown.answered = !zeros || (shown.request[0] == 0 && shown.request[1] == 0);
  const record::HubMessage out = decoded(shown);
  std::cout << (options.json ? json_pretty(record::to_json(out)) : to_text(out)) << "\n";
  return shown.answered ? kPassed : kUnreachable;
}

}  // namespace

Runner set_up_hub(ArgumentParser parser) {
  auto runner = std::make_shared<Runner>();
  parser.add_subcommand("state", "what the hub holds, with units", [runner] { *runner = show_state; });

  auto path = std::make_shared<std::string>();
  parser
      .add_subcommand("log", "print a file that --hub-log wrote",
                      [runner, path] { *runner = [path](const Options&) { return show_log(*path); }; })
      .add_option("FILE", *path, "the file")
      .required();

  auto message = std::make_shared<Message>();
  ArgumentParser by_hand = parser.add_subcommand("send", "send one message and show the reply", [runner, message] {
    *runner = [message](const Options& options) { return send(options, *message); };
  });
  by_hand.add_option("SENSOR", message->sensor, "tag or type number").required();
  by_hand.add_option("COMMAND", message->command, "short name or code").required();
  by_hand.add_option("WORDS", message->words, "data words from word 0 on: 12 an integer, 12.0 or 12f a float");
  return [runner](const Options& options) { return (*runner)(options); };
}

}  // namespace factory
