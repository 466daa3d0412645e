// `sensorcal hub send`: any message to the sensor hub by hand; `collect`: one sample from it.
#include <OemTestMsg.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
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

int send(const Options& options, const Message& arguments) {
  _ssc_oem_test_msg message{};
  message.sensor_type = parse_tag(arguments.sensor);
  const oem_test_msg::CodeRow command = parse_command(arguments.command);
  message.msg_type = command.code;
  const std::vector<int32_t> words = parse_words(command, arguments.words);
  if (words.size() > oem_test_msg::kWords) throw AppError(kUsage, "a message has 16 words");
  std::copy(words.begin(), words.end(), message.offset_ct);

  Session session(options);
  session.require_ready();
  HubMessage shown;
  memcpy(shown.request, &message, sizeof message);
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  shown.time_ns = static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
  const int lost = session.lost_messages();
  session.cal().cal_api->send_ssc_oem_test_msg(&message);
  memcpy(shown.reply, &message, sizeof message);
  // A call that never answers leaves all zeros behind, its own type and code included.
  const bool zeros =
      std::all_of(std::begin(shown.reply), std::end(shown.reply), [](int32_t word) { return word == 0; });
  shown.answered = session.lost_messages() == lost && (!zeros || (shown.request[0] == 0 && shown.request[1] == 0));
  print_result(options.json, "hub-send/1", json_object({{"message", to_json(decoded(shown))}}),
               to_text(decoded(shown)) + "\n");
  if (!shown.answered) return kUnreachable;
  if (!refused(shown)) return kPassed;
  complain("the hub refused it: it has no such code, or not for this sensor, or cannot do it now");
  return kFailed;
}

// The library makes a whole number of any answer: 0 of one that is none, the nearest one of one that is too large.
bool sample_is_number(Session& session) {
  constexpr float kCollect[] = {1, -10};
  _ssc_oem_test_msg message{};
  memcpy(message.offset_ct, kCollect, sizeof kCollect);
  session.cal().cal_api->send_ssc_oem_test_msg(&message);
  return std::fabs(std::bit_cast<float>(message.offset_ct[0])) < 0x1p31F;
}

int collect(const Options& options) {
  Session session(options);
  session.require_ready();
  if (!session.can_sample(sensor_type::light))
    throw AppError(kFailed, "the phone lists no light sensor; look at `sensorcal sensors`");
  HubWatch hub(session);
  const int value = session.cal().collectData();
  constexpr int kDoubtful[] = {0, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
  const bool number = std::ranges::count(kDoubtful, value) == 0 || sample_is_number(session);
  hub.require("the sample is not known");
  if (!number) throw AppError(kFailed, "the hub's answer is no number: it has no such request, or no sample now");
  print_result(options.json, "collect/1", json_object({{"value", value}}),
               "the hub's sample: " + std::to_string(value) + "\n");
  return kPassed;
}

}  // namespace

Runner set_up_collect(ArgumentParser /*parser*/) { return collect; }

Runner set_up_hub(ArgumentParser parser) {
  auto message = std::make_shared<Message>();
  ArgumentParser by_hand = parser.add_subcommand("send", "send one message and show the reply", [] {});
  by_hand.add_option("SENSOR", message->sensor, "tag or type number", {.required = true});
  std::string names;
  for (const oem_test_msg::CodeRow& row : oem_test_msg::kCodes)
    names += (names.empty() ? "" : ", ") + std::string(row.name);
  by_hand.add_option("COMMAND", message->command, "code, or short name: " + names, {.required = true});
  by_hand.add_option("WORDS", message->words,
                     "data words from word 0 on: all that a command by name has; of a code, 12 is an integer, 12.0 and "
                     "12f are floats");
  return [message](const Options& options) { return send(options, *message); };
}

}  // namespace factory
