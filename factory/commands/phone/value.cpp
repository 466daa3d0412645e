// `sensorcal get` and `sensorcal set`: the stored values, one by one.
#include <algorithm>
#include <memory>
#include <optional>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
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
  std::vector<double> values;
  std::optional<int> count;
};

std::vector<const StoredValue*> values_of(int type) {
  const std::string unknown = type_problem(type);
  if (!unknown.empty()) throw AppError(kUsage, unknown);
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

// What could not be read has no values.
Json::Value to_json(const StoredValue& value, int type, const Reading& reading) {
  const std::vector<double> numbers = reading.result == 0 ? reading.values : std::vector<double>();
  return json_object({{"name", value.name},
                      {"unit", value.unit(type)},
                      {"result", reading.result},
                      {"values", json_list(numbers, [&](double number) { return number_of(value, number); })}});
}

// "0.01  -0.02", or why there is none.
std::string holds_text(const StoredValue& value, const Reading& reading) {
  if (reading.result != 0) return bad("not there (result " + std::to_string(reading.result) + ")");
  std::vector<std::string> out;
  for (const double number : reading.values) out.push_back(number_text(number_of(value, number)));
  return joined(out, "  ");
}

int get(const Options& options, const Arguments& arguments) {
  const int type = parse_tag(arguments.tag);
  std::vector<const StoredValue*> wanted = values_of(type);
  if (!arguments.name.empty()) wanted = {&find_value(type, arguments.name)};
  if (!arguments.name.empty() && wanted[0]->read == nullptr) {
    throw AppError(kUsage, std::string(wanted[0]->name) + " can be written only");
  }
  const bool counted = std::any_of(wanted.begin(), wanted.end(), [](const auto* value) { return value->count == 0; });
  if (arguments.count && !counted)
    throw AppError(kUsage, "--count: goes with channels, as golden and channel-scales have them; " + tag_of(type) +
                               (arguments.name.empty() ? "" : " " + arguments.name) + " has none");
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
    const int count = value->count == 0 ? arguments.count.value_or(kDefaultCount) : value->count;
    const Reading reading = value->read(*session.cal().cal_api, type, count);
    failed = failed || reading.result != 0;
    out["stored"].append(to_json(*value, type, reading));
    rows.push_back({tag_of(type), value->name, holds_text(*value, reading), value->unit(type), value->what});
  }
  if (from_hub) hub.require("what it holds is not known");
  print_result(options.json, "get/1", out, table(rows));
  // In a list of all values one that is not there is no failure of the command.
  return failed && !arguments.name.empty() ? kFailed : kPassed;
}

int set(const Options& options, const Arguments& arguments) {
  const int type = parse_tag(arguments.tag);
  const StoredValue& value = find_value(type, arguments.name);
  if (value.write == nullptr) throw AppError(kUsage, std::string(value.name) + " can be read only");
  const size_t count = arguments.values.size();
  if (value.count != 0 && count != static_cast<size_t>(value.count)) {
    throw AppError(kUsage, std::string(value.name) + " takes " + counted(value.count, "number") + ", not " +
                               std::to_string(count));
  }
  return run_request(options, plan::plan_of_write(type, value.name, arguments.values));
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
  parser.add_option("--count", arguments->count, "how many channels (default: " + std::to_string(kDefaultCount) + ")",
                    {.low = 1, .high = 15});
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
