// `sensorcal hub` of a simulated phone: what its hub holds, what was sent to it, and any message by hand.
#include <errno.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <sstream>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "phone/core/phone.h"
#include "phone/hub_message.h"
#include "record/record_json.h"
#include "sensors/sensor.h"
#include "simulator/simulated_phone.h"

namespace factory {
namespace {

// The hub's words are floats.
Json::Value single(const Json::Value& value) {
  if (value.isDouble()) return json_number(static_cast<float>(value.asDouble()));
  Json::Value out = value;
  if (out.isArray() || out.isObject()) {
    for (Json::Value& entry : out) entry = single(entry);
  }
  return out;
}

std::string values_text(const Json::Value& value) {
  if (value.isNull()) return "-";
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
  if ((options.given & (Uses::world | Uses::logs)) != 0)
    throw AppError(kUsage, "hub state takes of a phone's options --phone, --profile and --seed: nothing is sent to it");
  const Json::Value state = open_simulated(options)->hub_state();
  Json::Value out;
  out["stored"] = Json::Value(Json::arrayValue);
  std::vector<std::vector<std::string>> rows = {{"sensor", "value", "holds", "unit", ""}};
  for (const std::string& tag : state.getMemberNames()) {
    const int type = parse_tag(tag);
    for (const std::string& key : state[tag].getMemberNames()) {
      const Json::Value& entry = state[tag][key];
      const Json::Value value = single(entry["value"]);
      std::string name = key;  // as `get` has it
      std::replace(name.begin(), name.end(), '_', '-');
      Json::Value& stored = out["stored"].append(sensor_json(type));
      stored["name"] = name;
      for (const char* part : {"set", "unit"}) stored[part] = entry[part];
      Json::Value& values = stored["values"] = value;
      if (!value.isObject() && !value.isArray()) (values = Json::Value()).append(value);
      rows.push_back({name_of(type), name, values_text(value), entry["unit"].asString(),
                      entry["set"].asBool() ? "set" : faint("default")});
    }
  }
  print_result(options.json, "hub-state/2", out, table(rows));
  return kPassed;
}

int show_log(const Options& options, const std::string& path) {
  if ((options.given & ~unsigned{Uses::json}) != 0)
    throw AppError(kUsage, "hub log takes no option of a phone: it reads a file");
  const std::optional<std::string> lines = read_file(path);
  if (!lines) throw AppError(kUsage, path + ": " + strerror(errno));
  std::istringstream file(*lines);
  std::string line;
  std::string text;
  Json::Value out;
  out["messages"] = Json::Value(Json::arrayValue);
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty()) continue;
    try {
      const record::HubMessage message = record::read_hub_message(line);
      out["messages"].append(to_json(message));
      text += to_text(message) + "\n";
    } catch (const record::FormatError& error) {
      throw AppError(kUsage, path + ":" + std::to_string(number) + ": not a hub message: " + error.what());
    }
  }
  print_result(options.json, "hub-log/1", out, text);
  return kPassed;
}

}  // namespace

Runner set_up_simulated_hub(ArgumentParser parser) {
  auto runner = std::make_shared<Runner>();
  parser.add_subcommand("state", "what the hub holds, with units", [runner] { *runner = show_state; });
  auto path = std::make_shared<std::string>();
  parser
      .add_subcommand("log", "print a file that --hub-log wrote",
                      [runner, path] { *runner = [path](const Options& options) { return show_log(options, *path); }; })
      .add_option("FILE", *path, "the file", {.required = true});
  const Runner send = set_up_hub(parser);
  return [runner, send](const Options& options) { return (*runner ? *runner : send)(options); };
}

}  // namespace factory
