// `sensorcal get` and `sensorcal set`: the stored values, one by one.
#include <cmath>
#include <memory>
#include <optional>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "files/words.h"
#include "phone/session.h"
#include "sensors/sensor.h"
#include "sensors/stored_values.h"

namespace factory {
namespace {

constexpr int kDefaultCount = 5;

struct Arguments {
  std::string tag;
  std::string name;
  std::vector<std::string> values;
  int count = kDefaultCount;
};

std::vector<const StoredValue*> values_of(int type) {
  std::vector<const StoredValue*> out;
  for (const StoredValue& value : stored_values()) {
    if (value.applies(type)) out.push_back(&value);
  }
  return out;
}

const StoredValue& find_value(int type, const std::string& name) {
  std::vector<std::string> names;
  for (const StoredValue* value : values_of(type)) {
    if (name == value->name) return *value;
    names.emplace_back(value->name);
  }
  throw AppError(kUsage, tag_of(type) + " has no value '" + name + "'" + or_nearest(name, names));
}

Json::Value number_of(const StoredValue& value, double number) {
  return value.whole_numbers ? Json::Value(static_cast<Json::Int64>(number)) : json_number(static_cast<float>(number));
}

std::string numbers_text(const StoredValue& value, const std::vector<double>& numbers) {
  std::vector<std::string> out;
  for (const double number : numbers) out.push_back(number_text(number_of(value, number)));
  return joined(out, "  ");
}

// Into an object that may say more. What could not be read has no values.
void describe(const StoredValue& value, int type, const Reading& reading, Json::Value* document) {
  Json::Value& out = *document;
  out["name"] = value.name;
  out["unit"] = value.unit(type);
  out["result"] = reading.result;
  out["values"] = json_list(reading.result == 0 ? reading.values : std::vector<double>(),
                            [&](double number) { return number_of(value, number); });
}

int get(const Options& options, const Arguments& arguments) {
  const int type = parse_tag(arguments.tag);
  std::vector<const StoredValue*> wanted = values_of(type);
  if (!arguments.name.empty()) wanted = {&find_value(type, arguments.name)};
  if (!arguments.name.empty() && wanted[0]->read == nullptr) {
    throw AppError(kUsage, std::string(wanted[0]->name) + " can be written only");
  }
  Session session(options);
  session.require_ready();
  Json::Value out = sensor_json(type);
  out["stored"] = Json::Value(Json::arrayValue);
  std::vector<std::vector<std::string>> rows = {{"sensor", "value", "holds", "unit", "meaning"}};
  bool failed = false;
  bool from_hub = false;
  HubWatch hub(session);
  for (const StoredValue* value : wanted) {
    if (value->read == nullptr) continue;
    from_hub = from_hub || value->file == nullptr;
    const int count = value->count == 0 ? arguments.count : value->count;
    const Reading reading = value->read(*session.cal().cal_api, type, count);
    failed = failed || reading.result != 0;
    describe(*value, type, reading, &out["stored"].append(Json::Value()));
    const std::string holds = reading.result == 0 ? numbers_text(*value, reading.values)
                                                  : bad("not there (result " + std::to_string(reading.result) + ")");
    rows.push_back({tag_of(type), value->name, holds, value->unit(type), value->what});
  }
  if (from_hub) hub.require("what it holds is not known");
  print_result(options.json, "get/1", out, table(rows));
  // In a list of all values one that is not there is no failure of the command.
  return failed && !arguments.name.empty() ? kFailed : kPassed;
}

std::vector<double> parse_numbers(const StoredValue& value, const std::vector<std::string>& texts) {
  const bool any_count = value.count == 0;
  constexpr size_t kMax = 15;
  if (any_count ? texts.empty() || texts.size() > kMax : texts.size() != static_cast<size_t>(value.count)) {
    throw AppError(kUsage, std::string(value.name) + " takes " + (any_count ? "1 to 15" : std::to_string(value.count)) +
                               " numbers, not " + std::to_string(texts.size()));
  }
  std::vector<double> out;
  for (const std::string& text : texts) {
    const auto number = read_number<double>(text);
    const bool fits = number && std::isfinite(static_cast<float>(*number));
    if (!fits || (value.whole_numbers && (std::trunc(*number) != *number || std::fabs(*number) > INT32_MAX))) {
      throw AppError(kUsage, std::string(value.name) + ": " + text + " is no " +
                                 (value.whole_numbers ? "whole number of 32 bits" : "number"));
    }
    out.push_back(*number);
  }
  return out;
}

// Whether the hub now holds what was written.
std::optional<bool> read_back(Session& session, const StoredValue& value, int type,
                              const std::vector<double>& written) {
  if (value.read == nullptr) return std::nullopt;
  const Reading reading = value.read(*session.cal().cal_api, type, static_cast<int>(written.size()));
  if (reading.result != 0 || reading.values.size() != written.size()) return false;
  for (size_t i = 0; i < written.size(); ++i) {
    if (reading.values[i] != static_cast<double>(static_cast<float>(written[i]))) return false;
  }
  return true;
}

int set(const Options& options, const Arguments& arguments) {
  const int type = parse_tag(arguments.tag);
  const StoredValue& value = find_value(type, arguments.name);
  if (value.write == nullptr) throw AppError(kUsage, std::string(value.name) + " can be read only");
  const std::vector<double> numbers = parse_numbers(value, arguments.values);
  Session session(options);
  session.require_ready();
  HubWatch hub(session);
  const int result = value.write(*session.cal().cal_api, type, numbers);
  const std::optional<bool> holds = read_back(session, value, type, numbers);
  if (value.file == nullptr) hub.require("what it holds now is not known");
  const bool passed = result == 0 && holds.value_or(true);
  Json::Value out = sensor_json(type);
  describe(value, type, {0, numbers}, &out);
  out["result"] = result;
  out["read_back"] = holds ? Json::Value(*holds) : Json::Value();
  out["verdict"] = passed ? "passed" : "failed";
  const std::string came_of_it = passed        ? good(holds ? "written and read back" : "written")
                                 : result != 0 ? bad("refused, result " + std::to_string(result))
                                               : bad("NOT stored: another value was read back");
  print_result(options.json, "set/1", out,
               tag_of(type) + " " + value.name + "  " + numbers_text(value, numbers) + " " + value.unit(type) + "  " +
                   came_of_it + "\n");
  return passed ? kPassed : kFailed;
}

std::string names_help() {
  std::string out = "value:";
  for (const StoredValue& value : stored_values()) {
    if (out.find(std::string(" ") + value.name) == std::string::npos) out += std::string(" ") + value.name;
  }
  return out;
}

}  // namespace

Runner set_up_get(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("TAG", arguments->tag, "sensor by tag or type number", {.required = true});
  parser.add_option("NAME", arguments->name, names_help() + "; without one all of the sensor");
  parser.add_option("--count", arguments->count, "how many channels", {.shows_default = true, .low = 1, .high = 15});
  return [arguments](const Options& options) { return get(options, *arguments); };
}

Runner set_up_set(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("TAG", arguments->tag, "sensor by tag or type number", {.required = true});
  parser.add_option("NAME", arguments->name, names_help(), {.required = true});
  parser.add_option("VALUES", arguments->values, "numbers in the value's unit", {.required = true});
  return [arguments](const Options& options) { return set(options, *arguments); };
}

}  // namespace factory
