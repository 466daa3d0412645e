#include "phone/faults/faults.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <string_view>

#include "phone/core/phone.h"
#include "phone/sensors/kinds.h"

namespace phone {
namespace {

// The result that Android gives an application without the permission.
constexpr int kPermissionDenied = 4;
constexpr int kMaxResult = 255;  // Android names 0 to 7
constexpr double kMaxBurst = 32;
constexpr double kLongestStep = 3e9;  // seconds: 95 years

// How a fault's arguments are read. Numbers are the defaults; a fault without a default wants its argument.
enum class Shape {
  none,
  count,
  code,
  word,
  result,
  sensor,
  sensor_amount,
  sensor_result,
  sensor_word,
  amount_times,
  path,
  key,
  key_value,
  setting
};

struct Row {
  FaultInfo info;
  Shape shape;
  std::optional<double> number;
  double low = 0;
  double high = 1e9;
};

constexpr Row kRows[] = {
    {{FaultId::sensors_absent, "sensors-absent", "", "there is no sensor service"}, Shape::none, {}},
    {{FaultId::sensors_vanish, "sensors-vanish", "CALLS",
      "the sensor service dies after so many calls, those of its event queues included: what was on falls silent"},
     Shape::count,
     {}},
    {{FaultId::sensors_fail, "sensors-fail", "[CALLS]",
      "calls of the sensor service and its event queues fail in transport, from the first or after so many: what is on "
      "stays on"},
     Shape::count,
     0},
    {{FaultId::sensors_dead, "sensors-dead", "[CALLS]",
      "the sensor service is declared and dead, from the start or after so many calls: who gets it waits for ever"},
     Shape::count,
     0},
    {{FaultId::hub_absent, "hub-absent", "", "there is no test service"}, Shape::none, {}},
    {{FaultId::hub_vanish, "hub-vanish", "MESSAGES", "the test service dies after so many messages"}, Shape::count, {}},
    {{FaultId::hub_dead, "hub-dead", "[MESSAGES]",
      "the test service is declared and dead, from the start or after so many messages: who gets it waits for ever"},
     Shape::count,
     0},
    {{FaultId::hub_fail, "hub-fail", "[CODE]",
      "messages fail in transport, those of one code or all, and never reach the hub"},
     Shape::code,
     -1},
    {{FaultId::hub_slow, "hub-slow", "MS", "the hub takes so long to answer"}, Shape::count, {}, 0, 60000},
    {{FaultId::hub_word, "hub-word", "CODE,WORD,VALUE",
      "a word of the hub's answer is forced: 3 is an integer, 3.0 a float"},
     Shape::word,
     {}},
    {{FaultId::clock_step, "clock-step", "SECONDS[,TIMES]",
      "the wall clock is set by so many seconds when a sensor is enabled, the first time or so many times"},
     Shape::amount_times,
     {},
     -kLongestStep,
     kLongestStep},
    {{FaultId::list_refused, "list-refused", "[RESULT]", "the sensor list is refused"},
     Shape::result,
     kPermissionDenied},
    {{FaultId::queue_refused, "queue-refused", "[RESULT]", "the event queue is refused"},
     Shape::result,
     kPermissionDenied},
    {{FaultId::queue_never, "queue-never", "", "the request for an event queue is never answered"}, Shape::none, {}},
    {{FaultId::enable_refused, "enable-refused", "[SENSOR[,RESULT]]", "enabling the sensor is refused"},
     Shape::sensor_result,
     kPermissionDenied},
    {{FaultId::silent, "silent", "[SENSOR]", "the sensor delivers nothing"}, Shape::sensor, {}},
    {{FaultId::stuck, "stuck", "[SENSOR[,VALUE[,WORD]]]",
      "the sensor repeats a raw value, 0, for ever; with WORD in that word of its events alone"},
     Shape::sensor_word,
     0,
     -1e9},
    {{FaultId::motion, "motion", "[SENSOR[,RMS]]",
      "the phone is in motion: a random part of this size in the sensor's unit, 5"},
     Shape::sensor_amount,
     5},
    {{FaultId::drift, "drift", "[SENSOR[,PER_SECOND]]", "the raw value creeps from the enabling on, by 0.5 a second"},
     Shape::sensor_amount,
     0.5,
     -1e9},
    {{FaultId::out_of_range, "out-of-range", "[SENSOR[,AMOUNT]]", "the raw value is off by this much, 30000"},
     Shape::sensor_amount,
     30000,
     -1e9},
    {{FaultId::not_a_number, "nan", "[SENSOR]", "the sensor delivers what is not a number"}, Shape::sensor, {}},
    {{FaultId::duplicate, "duplicate", "[SENSOR]", "every event comes twice"}, Shape::sensor, {}},
    {{FaultId::late, "late", "[SENSOR[,MS]]", "events come so much later than their time stamp, 500 ms"},
     Shape::sensor_amount,
     500,
     0,
     60000},
    {{FaultId::burst, "burst", "[SENSOR[,COUNT]]", "events come so many at a time, 5, when the last one is due"},
     Shape::sensor_amount,
     5,
     1,
     kMaxBurst},
    {{FaultId::straggler, "straggler", "[SENSOR]", "one more event comes after the sensor was disabled"},
     Shape::sensor,
     {}},
    {{FaultId::wrong_handle, "wrong-handle", "[SENSOR]", "events carry another sensor's handle"}, Shape::sensor, {}},
    {{FaultId::wrong_type, "wrong-type", "[SENSOR]", "events carry another sensor's type"}, Shape::sensor, {}},
    {{FaultId::brightness_missing, "brightness-missing", "", "the panel has no brightness node"}, Shape::none, {}},
    {{FaultId::brightness_read_only, "brightness-read-only", "", "the brightness node refuses writes"},
     Shape::none,
     {}},
    {{FaultId::brightness_clamped, "brightness-clamped", "LEVEL", "the panel takes no brightness above this"},
     Shape::count,
     {},
     0,
     65535},
    {{FaultId::persist_full, "persist-full", "",
      "the files on the persist partition that the library writes take nothing more"},
     Shape::none,
     {}},
    {{FaultId::persist_read_only, "persist-read-only", "",
      "the files on the persist partition that the library writes refuse it"},
     Shape::none,
     {}},
    {{FaultId::persist_absent, "persist-absent", "", "the persist partition is not there"}, Shape::none, {}},
    {{FaultId::truncated, "truncated", "PATH", "a file of the device loses its second half, for good"},
     Shape::path,
     {}},
    {{FaultId::garbled, "garbled", "PATH", "a file of the device is replaced by noise of the same length, for good"},
     Shape::path,
     {}},
    {{FaultId::no_property, "no-property", "NAME", "a property is missing, after a reboot of the open phone too"},
     Shape::key,
     {}},
    {{FaultId::property, "property", "NAME=VALUE",
      "a property has another value, also one that no build would set; it survives a reboot of the open phone"},
     Shape::key_value,
     {}},
    {{FaultId::wrong_fixture, "wrong-fixture", "KEY=VALUE",
      "the fixture is not as it is set and says: this of the world has another value, all the time"},
     Shape::setting,
     {}},
};

std::string short_text(double number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

[[noreturn]] void fail(const Row& row, const std::string& text) {
  constexpr double kNoLimit = Row{}.high;
  std::string range;
  if (row.shape == Shape::count || row.shape == Shape::sensor_amount || row.shape == Shape::amount_times) {
    range = row.high < kNoLimit ? ", a number from " + short_text(row.low) + " to " + short_text(row.high)
            : row.low == 0      ? ", a number of 0 or more"
                                : "";
  }
  throw OptionError("fault '" + text + "': wants " + usage(row.info) + range);
}

std::optional<double> parse_number(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return number;
}

// Takes the text up to the next comma out of `rest`.
std::string_view take(std::string_view* rest) {
  const size_t comma = rest->find(',');
  const std::string_view first = rest->substr(0, comma);
  rest->remove_prefix(comma == std::string_view::npos ? rest->size() : comma + 1);
  return first;
}

bool read_number(const Row& row, std::string_view text, double* out) {
  const std::optional<double> number = text.empty() ? row.number : parse_number(text);
  if (!number || (!text.empty() && !(*number >= row.low && *number <= row.high))) return false;
  *out = *number;
  return true;
}

bool read_integer(const Row& row, std::string_view text, double high, int* out) {
  double number = 0;
  if (!read_number(row, text, &number) || number > high || number != static_cast<int>(number)) return false;
  *out = static_cast<int>(number);
  return true;
}

bool read_sensor(std::string_view text, int* type) {
  if (text.empty()) return true;
  const std::optional<int> found = parse_sensor_type(text);
  if (!found || *found == 0) {
    std::vector<std::string> known;
    for (const sensor_type::TagRow& row : sensor_type::kTags) known.emplace_back(row.tag);
    throw OptionError("unknown sensor '" + std::string(text) + "'", std::string(text), known,
                      "`sensorcal sensors` lists those of the phone");
  }
  *type = *found;
  return true;
}

// CODE,WORD,VALUE; a value with a point or an exponent is a float.
bool read_word(std::string_view rest, Fault* fault) {
  const auto code = parse_number(take(&rest));
  const auto word = parse_number(take(&rest));
  const auto value = parse_number(rest);
  if (!code || !word || !value) return false;
  if (*code != static_cast<int>(*code) || *word < 0 || *word > 15 || *word != static_cast<int>(*word)) return false;
  fault->code = static_cast<int>(*code);
  fault->word = static_cast<int>(*word);
  if (rest.find_first_of(".eEni") != std::string_view::npos) {
    const auto number = static_cast<float>(*value);
    memcpy(&fault->bits, &number, sizeof number);
    return true;
  }
  if (!(*value >= INT32_MIN && *value <= INT32_MAX)) return false;
  fault->bits = static_cast<int32_t>(*value);
  return true;
}

bool read_arguments(const Row& row, std::string_view rest, Fault* fault) {
  fault->text = rest;
  switch (row.shape) {
    case Shape::none:
      return rest.empty();
    case Shape::count:
      return read_number(row, rest, &fault->amount);
    case Shape::code:
      return read_integer(row, rest, 1e6, &fault->code);
    case Shape::word:
      return read_word(rest, fault);
    case Shape::result:
      return read_integer(row, rest, kMaxResult, &fault->code);
    case Shape::sensor:
      return read_sensor(rest, &fault->sensor_type);
    case Shape::sensor_amount:
      return read_sensor(take(&rest), &fault->sensor_type) && read_number(row, rest, &fault->amount);
    case Shape::sensor_result:
      return read_sensor(take(&rest), &fault->sensor_type) && read_integer(row, rest, kMaxResult, &fault->code);
    case Shape::sensor_word: {
      constexpr Row kWord{{}, Shape::count, Fault::kAllWords};
      return read_sensor(take(&rest), &fault->sensor_type) && read_number(row, take(&rest), &fault->amount) &&
             read_integer(kWord, rest, 15, &fault->word);
    }
    case Shape::amount_times: {
      constexpr Row kTimes{{}, Shape::count, 1};
      return read_number(row, take(&rest), &fault->amount) && read_integer(kTimes, rest, 1e6, &fault->code);
    }
    case Shape::path:
      return rest.size() > 1 && rest[0] == '/' && rest.find("..") == std::string_view::npos;
    case Shape::key:
      return !rest.empty();
    case Shape::key_value:
      return rest.find('=') != std::string_view::npos && rest[0] != '=';
    case Shape::setting: {
      World world;
      const size_t equals = fault->text.find('=');
      return equals != std::string::npos &&
             set_world(&world, fault->text.substr(0, equals), fault->text.substr(equals + 1)).empty();
    }
  }
  return false;
}

Fault parse_fault(const std::string& text) {
  const size_t colon = text.find(':');
  const std::string name = text.substr(0, colon);
  for (const Row& row : kRows) {
    if (name != row.info.name) continue;
    Fault fault;
    fault.id = row.info.id;
    const std::string rest = colon == std::string::npos ? "" : text.substr(colon + 1);
    if (!read_arguments(row, rest, &fault)) fail(row, text);
    return fault;
  }
  std::vector<std::string> known;
  for (const FaultInfo& info : fault_list()) known.emplace_back(info.name);
  throw OptionError("unknown fault '" + name + "'", name, known, "`--fault help` lists all");
}

}  // namespace

std::string usage(const FaultInfo& info) {
  if (*info.arguments == '\0') return info.name;
  const std::string arguments = info.arguments;
  return info.name + (arguments[0] == '[' ? "[:" + arguments.substr(1) : ":" + arguments);
}

const std::vector<FaultInfo>& fault_list() {
  static const std::vector<FaultInfo>* const list = [] {
    auto* infos = new std::vector<FaultInfo>;
    for (const Row& row : kRows) infos->push_back(row.info);
    return infos;
  }();
  return *list;
}

Faults Faults::parse(const std::vector<std::string>& texts) {
  Faults faults;
  for (const std::string& text : texts) faults.faults_.push_back(parse_fault(text));
  return faults;
}

const Fault* Faults::find(FaultId id, int sensor_type) const {
  const Fault* found = nullptr;
  for (const Fault& fault : faults_) {
    if (fault.id != id || (fault.sensor_type != 0 && fault.sensor_type != sensor_type)) continue;
    if (found == nullptr || found->sensor_type == 0) found = &fault;
  }
  return found;
}

bool Faults::is_over(std::initializer_list<FaultId> ids, int count) const {
  return std::any_of(ids.begin(), ids.end(), [&](FaultId id) {
    const Fault* const fault = find(id);
    return fault != nullptr && count >= static_cast<int>(fault->amount);
  });
}

std::vector<const Fault*> Faults::each(FaultId id) const {
  std::vector<const Fault*> found;
  for (const Fault& fault : faults_) {
    if (fault.id == id) found.push_back(&fault);
  }
  return found;
}

}  // namespace phone
