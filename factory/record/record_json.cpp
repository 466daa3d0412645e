#include "record/record_json.h"

#include <cmath>
#include <concepts>
#include <limits>
#include <span>
#include <type_traits>

#include "files/json_text.h"
#include "files/time_text.h"

namespace factory::record {
namespace {

constexpr char kForm1[] = "sensorcal.run/1";
constexpr char kForm2[] = "sensorcal.run/2";

// What is said of a text is said of its first characters.
std::string quoted(const std::string& text) {
  constexpr size_t kMax = 60;
  return '"' + (text.size() > kMax ? text.substr(0, kMax) + "..." : text) + '"';
}

// The fields of each part are listed once, in a describe() below, for the writer and for the reader. The three ways a
// field can be there: `must` is written always and has to be there, `field` is written always and may be missing,
// `some` is written only where it is not empty. `seconds` are written in whole milliseconds, and must be there.
template <typename T, typename Part>
concept Is = std::same_as<std::remove_const_t<T>, Part>;

constexpr std::span<const char* const> names_of(Outcome) { return kOutcomeNames; }
constexpr std::span<const char* const> names_of(SampleState) { return kStateNames; }
constexpr std::span<const char* const> names_of(Cause) { return kCauseNames; }

template <typename IO>
concept Reads = IO::kReads;

template <typename T>
struct SingleNumbers {  // as the hub holds them
  T& values;
};
template <typename T>
SingleNumbers(T&) -> SingleNumbers<T>;

class Writer {
 public:
  static constexpr bool kReads = false;
  explicit Writer(Json::Value* out) : out_(*out) { out_ = Json::Value(Json::objectValue); }

  void must(const char* name, const auto& value) { out_[name] = json_of(value); }
  void field(const char* name, const auto& value) { must(name, value); }
  void seconds(const char* name, double value) { must(name, std::round(value * 1000) / 1000); }
  void some(const char* name, const auto& value) {
    Json::Value json = json_of(value);
    if (json != Json::Value(json.type())) out_[name] = std::move(json);
  }
  template <typename T>
  void some(const char* name, const std::optional<T>& value) {
    if (value) must(name, *value);
  }

  static Json::Value json_of(const std::string& value) { return value; }
  static Json::Value json_of(bool value) { return value; }
  static Json::Value json_of(int value) { return value; }
  static Json::Value json_of(double value) { return json_number(value); }
  static Json::Value json_of(float value) { return json_number(value); }
  static Json::Value json_of(const std::optional<double>& value) { return optional_number(value); }
  static Json::Value json_of(Clock::time_point value) { return iso_time(value); }
  template <typename E>
  requires std::is_enum_v<E>
  static Json::Value json_of(E value) { return names_of(value)[static_cast<size_t>(value)]; }
  template <typename T>
  static Json::Value json_of(const SingleNumbers<T>& value) {
    return json_of(std::vector<float>(value.values.begin(), value.values.end()));
  }
  static Json::Value json_of(const std::map<std::string, std::string>& value) {
    Json::Value out(Json::objectValue);
    for (const auto& [name, text] : value) out[name] = text;
    return out;
  }
  static Json::Value json_of(const Phone& phone) {
    Json::Value out = json_of(phone.facts);
    out["properties"] = json_of(phone.properties);
    return out;
  }
  template <typename T>
  static Json::Value json_of(const std::vector<T>& value) {
    return json_list(value, [](const T& element) { return json_of(element); });
  }
  template <typename T>
  requires std::is_class_v<T>
  static Json::Value json_of(const T& part) {
    Json::Value out;
    Writer writer(&out);
    describe(writer, part);
    return out;
  }

 private:
  Json::Value& out_;
};

class Reader {
 public:
  static constexpr bool kReads = true;
  Reader(const Json::Value& in, const std::string& place) : in_(in), place_(place) {
    if (!in.isObject()) fail(place, "an object");
  }

  void must(const char* name, auto&& value) {
    if (!has(name)) throw FormatError(at(name) + " is missing");
    field(name, value);
  }
  void field(const char* name, auto&& value) {
    if (has(name)) get(in_[name], at(name), value);
  }
  void seconds(const char* name, double& value) {
    constexpr double kMax = 1e9;
    must(name, value);
    if (!(value >= 0 && value <= kMax)) fail(at(name), "a number of seconds");
  }
  void some(const char* name, auto&& value) { field(name, value); }
  template <typename T>
  void some(const char* name, std::optional<T>& value) {
    if (has(name)) get(in_[name], at(name), value.emplace());
  }
  bool has(const char* name) const { return in_.isMember(name); }

  static void get(const Json::Value& in, const std::string& place, std::string& value) {
    if (!in.isString()) fail(place, "a text");
    value = in.asString();
  }
  static void get(const Json::Value& in, const std::string& place, bool& value) {
    if (!in.isBool()) fail(place, "true or false");
    value = in.asBool();
  }
  static void get(const Json::Value& in, const std::string& place, int& value) {
    if (!in.isInt()) fail(place, "a whole number");
    value = in.asInt();
  }
  template <typename T>
  requires std::is_floating_point_v<T>
  static void get(const Json::Value& in, const std::string& place, T& value) {
    constexpr T kInfinity = std::numeric_limits<T>::infinity();
    if (in.isNumeric()) {
      value = static_cast<T>(in.asDouble());
    } else if (in == "nan") {
      value = std::numeric_limits<T>::quiet_NaN();
    } else if (in == "inf" || in == "-inf") {
      value = in == "inf" ? kInfinity : -kInfinity;
    } else {
      fail(place, "a number");
    }
  }
  static void get(const Json::Value& in, const std::string& place, std::optional<double>& value) {
    if (!in.isNull()) get(in, place, value.emplace());
  }
  static void get(const Json::Value& in, const std::string& place, Clock::time_point& value) {
    const auto time = in.isString() ? parse_iso_time(in.asString()) : std::nullopt;
    if (!time) fail(place, "a time like 2026-11-24T22:04:05.123Z");
    value = *time;
  }
  template <typename E>
  requires std::is_enum_v<E>
  static void get(const Json::Value& in, const std::string& place, E& value) {
    std::string known;
    for (size_t i = 0; i < names_of(value).size(); ++i) {
      const char* name = names_of(value)[i];
      value = static_cast<E>(i);
      if (in == name) return;
      known += (known.empty() ? "" : ", ") + std::string(name);
    }
    fail(place, "one of " + known + "; it is " + (in.isString() ? quoted(in.asString()) : "no text"));
  }
  template <typename T>
  static void get(const Json::Value& in, const std::string& place, SingleNumbers<T>& value) {
    get(in, place, value.values);
  }
  static void get(const Json::Value& in, const std::string& place, Phone& phone) {
    get(in, place, phone.facts);
    Reader(in, place).field("properties", phone.properties);
  }
  // Values of every kind as texts.
  static void get(const Json::Value& in, const std::string& place, std::map<std::string, std::string>& value) {
    if (!in.isObject()) fail(place, "an object");
    for (const std::string& name : in.getMemberNames()) {
      if (!in[name].isObject() && !in[name].isArray()) value[name] = number_text(in[name]);
    }
  }
  template <typename T>
  static void get(const Json::Value& in, const std::string& place, std::vector<T>& value) {
    if (!in.isArray()) fail(place, "a list");
    for (Json::ArrayIndex i = 0; i < in.size(); ++i)
      get(in[i], place + "[" + std::to_string(i) + "]", value.emplace_back());
  }
  template <typename T>
  requires std::is_class_v<T>
  static void get(const Json::Value& in, const std::string& place, T& part) {
    if constexpr (std::same_as<T, Text>) {
      if (in.isString()) return get(in, place, part.text);
    }
    Reader reader(in, place);
    describe(reader, part);
  }

 private:
  [[noreturn]] static void fail(const std::string& place, const std::string& wanted) {
    throw FormatError((place.empty() ? "the record" : place) + ": wanted is " + wanted);
  }
  std::string at(const char* name) const { return place_.empty() ? name : place_ + "." + name; }

  const Json::Value& in_;
  const std::string place_;
};

void describe(auto& io, Is<Text> auto& part) {
  io.some("code", part.code);
  io.some("arguments", part.arguments);
  io.must("text", part.text);
}

void describe(auto& io, Is<Measurement> auto& part) {
  io.must("name", part.name);
  io.field("axis", part.axis);
  io.must("value", part.value);
  io.field("unit", part.unit);
  io.field("standard_error", part.standard_error);
  io.field("low", part.low);
  io.field("high", part.high);
  io.some("strict", part.strict);
  io.some("section", part.section);
  io.must("verdict", part.outcome);
}

void describe(auto& io, Is<Sample> auto& part) {
  io.must("event", part.event);
  io.must("values", part.values);
  io.must("state", part.state);
}

void describe(auto& io, Is<Restart> auto& part) {
  io.must("event", part.event);
  io.must("cause", part.cause);
  io.field("axis", part.axis);
  io.field("value", part.value);
  io.field("limit", part.limit);
}

void describe(auto& io, Is<Window> auto& part) {
  io.field("unit", part.unit);
  io.must("axes", part.axes);
  io.field("period_ms", part.period_ms);
  io.field("bias_limit", SingleNumbers{part.bias_limit});
  io.must("samples", part.samples);
  io.field("restarts", part.restarts);
}

void describe(auto& io, Is<HeldValue> auto& part) {
  io.must("name", part.name);
  io.field("unit", part.unit);
  io.must("values", SingleNumbers{part.values});
}

template <typename IO>
void describe(IO& io, Is<HubWord> auto& part) {
  io.must("word", part.word);
  if constexpr (Reads<IO>) {
    if (io.has("float")) part.value = 0.0F;
  }
  if (std::holds_alternative<float>(part.value)) {
    io.must("float", std::get<float>(part.value));
  } else {
    io.must("int", std::get<int32_t>(part.value));
  }
}

void describe(auto& io, Is<HubMessage> auto& part) {
  io.field("time", part.time);
  io.field("sensor_type", part.sensor_type);
  io.field("tag", part.tag);
  io.field("code", part.code);
  io.must("command", part.command);
  io.field("request", part.request);
  io.must("answered", part.answered);
  if (part.answered) {
    io.field("reply", part.reply);
    io.some("reply_sensor_type", part.reply_sensor_type);
    io.some("reply_code", part.reply_code);
  }
  io.some("note", part.note);
}

template <typename IO>
void describe(IO& io, Is<LogLine> auto& part) {
  io.must("priority", part.priority);
  io.must("tag", part.tag);
  io.must("text", part.text);
  std::string thread = part.event_thread ? "events" : "caller";
  io.field("thread", thread);
  if constexpr (Reads<IO>) part.event_thread = thread == "events";
}

void describe(auto& io, Is<Span> auto& part) {
  io.must("sensor", part.sensor);
  io.must("what", part.what);
  io.must("from_s", part.from_s);
  io.must("to_s", part.to_s);
}

void describe(auto& io, Is<RestartCounts> auto& part) {
  for (size_t i = 0; i < part.size(); ++i) io.field(kCauseNames[i], part[i]);
}

void describe(auto& io, Is<Attempt> auto& part) {
  io.must("number", part.number);
  io.must("started", part.started);
  io.seconds("seconds", part.seconds);
  io.must("verdict", part.outcome);
  io.field("reasons", part.reasons);
  io.field("hints", part.hints);
  io.field("notes", part.notes);
  io.field("measurements", part.measurements);
  io.field("restarts", part.restarts);
  io.some("window", part.window);
  io.some("before", part.before);
  io.some("after", part.after);
  io.field("kept", part.kept);
  io.field("put_back", part.put_back);
  io.some("not_undoable", part.irreversible);
  io.some("spans", part.spans);
  io.some("hub", part.hub);
  io.some("log", part.log);
  io.some("log_dropped", part.log_dropped);
}

void describe(auto& io, Is<Step> auto& part) {
  io.must("index", part.index);
  io.field("name", part.name);
  io.must("kind", part.kind);
  io.field("group", part.group);
  io.some("tag", part.tag);
  io.some("sensor", part.sensor);
  io.some("param", part.param);
  io.must("verdict", part.outcome);
  io.must("attempts", part.attempts);
}

template <typename IO>
void describe(IO& io, Is<Plan> auto& part) {
  io.field("name", part.name);
  io.some("version", part.version);
  io.field("file", part.file);
  if constexpr (Reads<IO>) io.field("hash", part.sha256);  // the first form's name of it
  io.some("sha256", part.sha256);
  io.some("bytes", part.bytes);
}

void describe(auto& io, Is<Build> auto& part) {
  io.field("version", part.version);
  io.field("build_id", part.build_id);
}

void describe(auto& io, Is<Run> auto& part) {
  std::string schema = kForm2;
  io.must("schema", schema);
  io.some("id", part.id);
  io.must("verdict", part.outcome);
  bool marginal = part.marginal();
  io.field("marginal", marginal);
  io.field("serial", part.serial);
  io.field("station", part.station);
  io.field("operator", part.operator_name);
  io.some("lot", part.lot);
  io.some("retest_of", part.retest_of);
  io.must("started", part.started);
  Clock::time_point ended = part.ended();
  io.field("ended", ended);
  io.seconds("seconds", part.seconds);
  io.field("plan", part.plan);
  io.field("application", part.application);
  io.field("library", part.library);
  io.field("phone", part.phone);
  io.some("world", part.world);
  io.field("remarks", part.remarks);
  io.must("steps", part.steps);
}

Json::Value parsed(const std::string& text) {
  Json::Value out;
  std::string problem;
  if (!parse_json(text, &out, &problem)) throw FormatError("no JSON: " + problem);
  return out;
}

}  // namespace

Json::Value to_json(const Run& run) { return Writer::json_of(run); }
Json::Value to_json(const Step& step) { return Writer::json_of(step); }
Json::Value to_json(const Window& window) { return Writer::json_of(window); }
Json::Value to_json(const HubMessage& message) { return Writer::json_of(message); }
Json::Value to_json(const std::vector<Text>& texts) { return Writer::json_of(texts); }

Run read_run(const std::string& text) {
  const Json::Value json = parsed(text);
  const Json::Value schema = json.isObject() ? json["schema"] : Json::Value();
  if (schema != kForm1 && schema != kForm2) {
    throw FormatError(std::string("no record of a run, or one of a newer form: \"schema\" is ") +
                      (schema.isString() ? quoted(schema.asString()) : "missing") + ", and this program reads " +
                      kForm1 + " and " + kForm2);
  }
  Run run;
  Reader::get(json, "", run);
  if (run.outcome == Outcome::skipped || run.outcome == Outcome::marginal)
    throw FormatError("verdict: no run is " + std::string(outcome_name(run.outcome)));
  return run;
}

HubMessage read_hub_message(const std::string& text) {
  HubMessage out;
  Reader::get(parsed(text), "message", out);
  return out;
}

std::vector<Text> read_texts(const std::string& text) {
  std::vector<Text> out;
  if (text.empty()) return out;
  Reader::get(parsed(text), "texts", out);
  return out;
}

}  // namespace factory::record
