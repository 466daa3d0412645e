#include "record/record_json.h"

#include <cmath>
#include <concepts>
#include <limits>
#include <set>
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
// `some` is written only where it is not empty.
template <typename T, typename Part>
concept Is = std::same_as<std::remove_const_t<T>, Part>;

template <typename IO>
concept Reads = IO::kReads;

// Fields that are written in a way of their own.
template <typename T>
struct Milliseconds {  // seconds, in whole milliseconds
  T& seconds;
};
template <typename T>
Milliseconds(T&) -> Milliseconds<T>;
template <typename T>
struct SingleNumbers {  // as the hub holds them
  T& values;
};
template <typename T>
SingleNumbers(T&) -> SingleNumbers<T>;
template <typename T>
struct RestartCounts {  // by cause
  T& counts;
};
template <typename T>
RestartCounts(T&) -> RestartCounts<T>;

class Writer {
 public:
  static constexpr bool kReads = false;
  explicit Writer(Json::Value* out) : out_(*out) { out_ = Json::Value(Json::objectValue); }
  bool first_form() const { return false; }

  template <typename T>
  void must(const char* name, const T& value) {
    out_[name] = json_of(value);
  }
  template <typename T>
  void field(const char* name, const T& value) {
    must(name, value);
  }
  template <typename T>
  void some(const char* name, const T& value) {
    if (!(value == T())) must(name, value);
  }
  template <typename T>
  void some(const char* name, const std::vector<T>& value) {
    if (!value.empty()) must(name, value);
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
  static Json::Value json_of(Outcome value) { return outcome_name(value); }
  static Json::Value json_of(Cause value) { return cause_name(value); }
  static Json::Value json_of(SampleState value) { return state_name(value); }
  template <typename T>
  static Json::Value json_of(const Milliseconds<T>& value) {
    return json_number(std::round(value.seconds * 1000) / 1000);
  }
  template <typename T>
  static Json::Value json_of(const SingleNumbers<T>& value) {
    Json::Value out(Json::arrayValue);
    for (const double number : value.values) out.append(json_number(static_cast<float>(number)));
    return out;
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
    Json::Value out(Json::arrayValue);
    for (const T& element : value) out.append(json_of(element));
    return out;
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
  // `first_form`: what is read is sensorcal.run/1.
  Reader(const Json::Value& in, const std::string& place, bool first_form)
      : in_(in), place_(place), first_form_(first_form) {
    if (!in.isObject()) fail(place, "an object");
  }
  bool first_form() const { return first_form_; }

  template <typename T>
  static void read(const Json::Value& in, const std::string& place, T* value, bool first_form = false) {
    static const Json::Value kNothing(Json::objectValue);
    Reader(kNothing, "", first_form).get(in, place, *value);
  }

  template <typename T>
  void must(const char* name, T&& value) {
    if (!in_.isMember(name)) throw FormatError(at(name) + " is missing");
    get(in_[name], at(name), value);
  }
  template <typename T>
  void field(const char* name, T&& value) {
    if (in_.isMember(name)) get(in_[name], at(name), value);
  }
  template <typename T>
  void some(const char* name, T&& value) {
    field(name, value);
  }
  template <typename T>
  void some(const char* name, std::optional<T>& value) {
    if (in_.isMember(name)) get(in_[name], at(name), value.emplace());
  }

  [[noreturn]] static void fail(const std::string& place, const std::string& wanted) {
    throw FormatError((place.empty() ? "the record" : place) + ": wanted is " + wanted);
  }
  const Json::Value& in() const { return in_; }
  std::string at(const std::string& name) const { return place_.empty() ? name : place_ + "." + name; }

  void get(const Json::Value& in, const std::string& place, std::string& value) const {
    if (!in.isString()) fail(place, "a text");
    value = in.asString();
  }
  void get(const Json::Value& in, const std::string& place, bool& value) const {
    if (!in.isBool()) fail(place, "true or false");
    value = in.asBool();
  }
  void get(const Json::Value& in, const std::string& place, int& value) const {
    if (!in.isInt()) fail(place, "a whole number");
    value = in.asInt();
  }
  void get(const Json::Value& in, const std::string& place, double& value) const {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    if (in.isNumeric()) {
      value = in.asDouble();
    } else if (in == "nan") {
      value = std::nan("");
    } else if (in == "inf" || in == "-inf") {
      value = in == "inf" ? kInfinity : -kInfinity;
    } else {
      fail(place, "a number");
    }
  }
  void get(const Json::Value& in, const std::string& place, float& value) const {
    double number = 0;
    get(in, place, number);
    value = static_cast<float>(number);
  }
  void get(const Json::Value& in, const std::string& place, std::optional<double>& value) const {
    if (!in.isNull()) get(in, place, value.emplace());
  }
  void get(const Json::Value& in, const std::string& place, Clock::time_point& value) const {
    const auto time = in.isString() ? parse_iso_time(in.asString()) : std::nullopt;
    if (!time) fail(place, "a time like 2026-11-24T22:04:05.123Z");
    value = *time;
  }
  void get(const Json::Value& in, const std::string& place, Outcome& value) const {
    named(in, place, outcome_name, kOutcomes, &value);
  }
  void get(const Json::Value& in, const std::string& place, Cause& value) const {
    named(in, place, cause_name, kCauses, &value);
  }
  void get(const Json::Value& in, const std::string& place, SampleState& value) const {
    named(in, place, state_name, 3, &value);
  }
  template <typename T>
  void get(const Json::Value& in, const std::string& place, Milliseconds<T>& value) const {
    constexpr double kMax = 1e9;
    get(in, place, value.seconds);
    if (!(value.seconds >= 0 && value.seconds <= kMax)) fail(place, "a number of seconds");
  }
  template <typename T>
  void get(const Json::Value& in, const std::string& place, SingleNumbers<T>& value) const {
    get(in, place, value.values);
  }
  void get(const Json::Value& in, const std::string& place, Phone& phone) const {
    get(in, place, phone.facts);
    Reader(in, place, first_form_).field("properties", phone.properties);
  }
  // Values of every kind as texts.
  void get(const Json::Value& in, const std::string& place, std::map<std::string, std::string>& value) const {
    if (!in.isObject()) fail(place, "an object");
    for (const std::string& name : in.getMemberNames()) {
      if (!in[name].isObject() && !in[name].isArray()) value[name] = number_text(in[name]);
    }
  }
  template <typename T>
  void get(const Json::Value& in, const std::string& place, std::vector<T>& value) const {
    if (!in.isArray()) fail(place, "a list");
    for (Json::ArrayIndex i = 0; i < in.size(); ++i)
      get(in[i], place + "[" + std::to_string(i) + "]", value.emplace_back());
  }
  template <typename T>
  requires std::is_class_v<T>
  void get(const Json::Value& in, const std::string& place, T& part) const {
    if constexpr (std::same_as<T, Text>) {
      if (in.isString()) return get(in, place, part.text);
    }
    Reader reader(in, place, first_form_);
    describe(reader, part);
  }

 private:
  template <typename E>
  static void named(const Json::Value& in, const std::string& place, const char* (*name_of)(E), int count, E* value) {
    std::string known;
    for (int i = 0; i < count; ++i) {
      *value = static_cast<E>(i);
      if (in == name_of(*value)) return;
      known += (known.empty() ? "" : ", ") + std::string(name_of(*value));
    }
    fail(place, "one of " + known + "; it is " + (in.isString() ? quoted(in.asString()) : "no text"));
  }

  const Json::Value& in_;
  const std::string place_;
  const bool first_form_;
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
    if (io.in().isMember("float")) part.value = 0.0F;
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

template <typename T>
void describe(auto& io, const RestartCounts<T>& part) {
  for (int i = 0; i < kCauses; ++i) io.field(cause_name(static_cast<Cause>(i)), part.counts[i]);
}

void describe(auto& io, Is<Attempt> auto& part) {
  io.must("number", part.number);
  io.must("started", part.started);
  io.must("seconds", Milliseconds{part.seconds});
  io.must("verdict", part.outcome);
  io.field("reasons", part.reasons);
  io.field("hints", part.hints);
  io.field("notes", part.notes);
  io.field("measurements", part.measurements);
  io.field("restarts", RestartCounts{part.restarts});
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

void describe(auto& io, Is<Plan> auto& part) {
  io.field("name", part.name);
  io.some("version", part.version);
  io.field("file", part.file);
  io.some(io.first_form() ? "hash" : "sha256", part.sha256);
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
  io.must("seconds", Milliseconds{part.seconds});
  io.field("plan", part.plan);
  io.field("application", part.application);
  io.field("library", part.library);
  io.field("phone", part.phone);
  io.some("world", part.world);
  io.field("remarks", part.remarks);
  io.must("steps", part.steps);
}

void compare(const std::string& place, const Json::Value& a, const Json::Value& b,
             const std::vector<std::string>& except, std::vector<std::string>* out) {
  if (a.isObject() && b.isObject()) {
    std::set<std::string> names;
    for (const Json::Value* side : {&a, &b}) {
      for (const std::string& name : side->getMemberNames()) names.insert(name);
    }
    for (const std::string& name : except) names.erase(name);
    for (const std::string& name : names)
      compare(place.empty() ? name : place + "." + name, a[name], b[name], except, out);
  } else if (a.isArray() && b.isArray() && a.size() == b.size()) {
    for (Json::ArrayIndex i = 0; i < a.size(); ++i)
      compare(place + "[" + std::to_string(i) + "]", a[i], b[i], except, out);
  } else if (a.isArray() && b.isArray()) {
    out->push_back(place + ": " + std::to_string(a.size()) + " entries recorded, now " + std::to_string(b.size()));
  } else if (json_line(a) != json_line(b)) {
    out->push_back(place + ": recorded " + json_line(a) + ", now " + json_line(b));
  }
}

Json::Value parsed(const std::string& text) {
  Json::Value out;
  std::string problem;
  if (!parse_json(text, &out, &problem)) throw FormatError("no JSON: " + problem);
  return out;
}

}  // namespace

Json::Value to_json(const Run& run) { return Writer::json_of(run); }
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
  Reader::read(json, "", &run, schema == kForm1);
  if (run.outcome == Outcome::skipped || run.outcome == Outcome::marginal)
    throw FormatError("verdict: no run is " + std::string(outcome_name(run.outcome)));
  return run;
}

HubMessage read_hub_message(const std::string& text) {
  HubMessage out;
  Reader::read(parsed(text), "message", &out);
  return out;
}

std::vector<Text> read_texts(const std::string& text) {
  std::vector<Text> out;
  if (text.empty()) return out;
  Reader::read(parsed(text), "texts", &out);
  return out;
}

std::vector<std::string> differences(const Run& recorded, const Run& now, const std::vector<std::string>& except) {
  std::vector<std::string> out;
  compare("", to_json(recorded), to_json(now), except, &out);
  return out;
}

}  // namespace factory::record
