// `sensorcal hub send`: any message to the sensor hub by hand; `collect`: one sample from it.
#include <OemTestMsg.h>
#include <string.h>
#include <time.h>

#include <algorithm>

#include <bit>
#include <memory>

#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "phone/hub_message.h"
#include "phone/session.h"
#include "record/record_json.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

struct Message {
  std::string sensor;
  std::string command;
  std::vector<std::string> words;
};

// "12" is an integer; "12.0", "1e-3" and "0.5f" are floats; "nan" too.
int32_t parse_word(const std::string& text) {
  if (const auto integer = read_number<int32_t>(text)) return *integer;
  const bool too_large = text.find_first_not_of("-0123456789") == std::string::npos;
  const bool marked = text.ends_with('f') && text != "inf" && text != "-inf";
  const auto number = read_number<float>(text.substr(0, text.size() - (marked ? 1 : 0)));
  if (too_large || !number)
    throw AppError(kUsage, "word " + text + ": give an integer of 32 bits (12), or a float (12.0, 12f)");
  return std::bit_cast<int32_t>(*number);
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
  Json::Value out;
  out["message"] = to_json(decoded(shown));
  print_result(options.json, "hub-send/1", out, to_text(decoded(shown)) + "\n");
  return shown.answered ? kPassed : kUnreachable;
}

int collect(const Options& options) {
  Session session(options);
  session.require_ready();
  HubWatch hub(session);
  const int value = session.cal().collectData();
  hub.require("the sample is not known");
  Json::Value out;
  out["value"] = value;
  print_result(options.json, "collect/1", out, "the hub's sample: " + std::to_string(value) + "\n");
  return kPassed;
}

}  // namespace

Runner set_up_collect(ArgumentParser /*parser*/) { return collect; }

Runner set_up_hub(ArgumentParser parser) {
  auto message = std::make_shared<Message>();
  ArgumentParser by_hand = parser.add_subcommand("send", "send one message and show the reply", [] {});
  by_hand.add_option("SENSOR", message->sensor, "tag or type number", {.required = true});
  by_hand.add_option("COMMAND", message->command, "short name or code", {.required = true});
  by_hand.add_option("WORDS", message->words, "data words from word 0 on: 12 an integer, 12.0 or 12f a float");
  return [message](const Options& options) { return send(options, *message); };
}

}  // namespace factory
