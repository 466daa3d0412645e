#include "records.h"

#include <cmath>
#include <random>

namespace records {
namespace {

// For JSON a number as it stands, null where there is no limit.
struct Measured {
  const char* name;
  const char* axis;
  Json::Value value;
  const char* unit;
  Json::Value low, high;
  const char* verdict;
};

Json::Value texts(std::initializer_list<std::string> lines) {
  Json::Value out(Json::arrayValue);
  for (const std::string& line : lines) out.append(line);
  return out;
}

Json::Value measurement(const Measured& m) {
  Json::Value out;
  out["name"] = m.name;
  out["axis"] = m.axis;
  out["value"] = m.value;
  out["unit"] = m.unit;
  if (m.value.isNumeric()) out["standard_error"] = std::fabs(m.value.asDouble()) / 30 + 0.00001;
  out["low"] = m.low;
  out["high"] = m.high;
  out["verdict"] = m.verdict;
  return out;
}

Json::Value attempt(int number, const char* verdict, double seconds, std::initializer_list<Measured> measured = {}) {
  Json::Value out;
  out["number"] = number;
  out["started"] = "2026-03-02T08:15:00.250Z";
  out["seconds"] = seconds;
  out["verdict"] = verdict;
  out["measurements"] = Json::Value(Json::arrayValue);
  for (const Measured& m : measured) out["measurements"].append(measurement(m));
  for (const char* cause : {"variance", "zero_variance", "bias"}) out["restarts"][cause] = 0;
  return out;
}

Json::Value step(int index, const char* name, const char* kind, const char* tag, const char* verdict,
                 std::initializer_list<Json::Value> attempts) {
  Json::Value out;
  out["index"] = index;
  out["name"] = name;
  out["kind"] = kind;
  out["group"] = *tag == '\0' ? "" : "at rest";
  out["tag"] = tag;
  if (std::string(kind) == "calibrate") out["param"] = 0;
  out["verdict"] = verdict;
  out["attempts"] = Json::Value(Json::arrayValue);
  for (const Json::Value& a : attempts) out["attempts"].append(a);
  return out;
}

struct Signal {
  const char* unit;
  std::vector<std::string> axes;
  std::vector<double> means;
  double noise;
  double bias_limit;
  int period_ms;
};

Json::Value window(const Signal& signal) {
  Json::Value out;
  out["unit"] = signal.unit;
  out["period_ms"] = signal.period_ms;
  out["axes"] = Json::Value(Json::arrayValue);
  for (const std::string& axis : signal.axes) {
    out["axes"].append(axis);
    out["bias_limit"].append(signal.bias_limit);
  }
  out["samples"] = Json::Value(Json::arrayValue);
  out["restarts"] = Json::Value(Json::arrayValue);
  return out;
}

void add_samples(const Signal& signal, int count, const char* state, double extra_noise, Json::Value* to) {
  std::mt19937 random(to->operator[]("samples").size() + 7U);  // the same on every machine; its distributions are not
  const auto noise = [&] { return static_cast<double>(random() >> 8) / (1 << 24) * 2 - 1; };
  for (int i = 0; i < count; ++i) {
    Json::Value sample;
    sample["event"] = (*to)["samples"].size() + 1;
    sample["state"] = state;
    for (const double mean : signal.means) sample["values"].append(mean + noise() * (signal.noise + extra_noise));
    (*to)["samples"].append(sample);
  }
}

void restart(const char* cause, const char* axis, double value, double limit, Json::Value* attempt_with_window) {
  Json::Value& to = (*attempt_with_window)["window"];
  Json::Value entry;
  entry["event"] = to["samples"].size();
  entry["cause"] = cause;
  entry["axis"] = axis;
  entry["value"] = value;
  entry["limit"] = limit;
  to["restarts"].append(entry);
  Json::Value& count = (*attempt_with_window)["restarts"][cause];
  count = count.asInt() + 1;
}

void values(const char* name, const char* unit, std::vector<double> before, std::vector<double> after,
            Json::Value* to) {
  const std::pair<const char*, std::vector<double>&> kSides[] = {{"before", before}, {"after", after}};
  for (const auto& [side, numbers] : kSides) {
    Json::Value entry;
    entry["name"] = name;
    entry["unit"] = unit;
    for (const double number : numbers) entry["values"].append(number);
    (*to)[side].append(entry);
  }
}

void traffic(const char* tag, Json::Value* to) {
  Json::Value word;
  word["word"] = 0;
  word["float"] = 0.0271;
  Json::Value message;
  message["time"] = "2026-03-02T08:15:01.123456Z";
  message["tag"] = tag;
  message["command"] = "set_offset";
  message["request"].append(word);
  message["answered"] = true;
  message["reply"] = Json::Value(Json::arrayValue);
  (*to)["hub"].append(message);
  message["answered"] = false;
  message["note"] = "the hub is silent";
  (*to)["hub"].append(message);
  constexpr struct {
    int priority;
    const char *name, *text, *thread;
  } kLines[] = {{3, "libsensor_calapi", "set offset enter", "caller"},
                {6, "libsensor_cal", "Variance exceeded, restarting algorithm. index: 0", "events"},
                {4, "libsensor_cal", "calibration done\n", "caller"}};
  for (const auto& [priority, name, text, thread] : kLines) {
    Json::Value line;
    line["priority"] = priority;
    line["tag"] = name;
    line["text"] = text;
    line["thread"] = thread;
    (*to)["log"].append(line);
  }
}

const Signal kAcc = {"m/s^2", {"x", "y", "z"}, {0.027, -0.154, -0.203}, 0.015, 2, 20};
const Signal kGyr = {"rad/s", {"x", "y", "z"}, {-0.0193, -0.0076, 0.0156}, 0.0008, 0.1, 20};
const Signal kLight = {"lux", {"light"}, {212}, 3, 1000, 100};
const Signal kColour = {"counts", {"c1", "c2", "c3", "c4", "c5"}, {4100, 2900, 1750, 820, 3300}, 20, 20000, 100};

Json::Value good_attempt(int number, const char* tag, const Signal& signal, std::initializer_list<Measured> measured) {
  Json::Value out = attempt(number, "passed", 1.07, measured);
  out["window"] = window(signal);
  add_samples(signal, 3, "settling", signal.noise * 3, &out["window"]);
  add_samples(signal, 50, "accepted", 0, &out["window"]);
  values("offset", signal.unit, {0, 0, 0}, signal.means, &out);
  out["kept"] = true;
  traffic(tag, &out);
  return out;
}

// The window starts anew again and again.
Json::Value moving_attempt(int number, const char* tag, const Signal& signal, double shaking) {
  Json::Value out = attempt(number, "failed", 5,
                            {{"offset", "x", -0.412, signal.unit, -2, 2, "passed"},
                             {"noise", "x", 0.48, signal.unit, Json::nullValue, 0.05, "failed"},
                             {"residual", "y", "nan", signal.unit, -0.02, 0.02, "failed"}});
  out["reasons"] = texts({std::string(tag) + " x: noise 0.48 +/- 0.016 m/s^2, limit 0.05 m/s^2",
                          "the run restarted 3 times: 2 for variance, 1 for bias"});
  out["hints"] = texts({"the phone moves: set it down still and try again"});
  out["window"] = window(signal);
  add_samples(signal, 3, "settling", shaking, &out["window"]);
  for (const char* cause : {"variance", "bias", "variance"}) {
    add_samples(signal, 50, "discarded", shaking, &out["window"]);
    restart(cause, "x", 0.231, cause[0] == 'b' ? signal.bias_limit : 0.05, &out);
  }
  add_samples(signal, 50, "accepted", shaking / 3, &out["window"]);
  values("offset", signal.unit, {0.01, -0.15, -0.2}, {0.01, -0.15, -0.2}, &out);
  out["kept"] = false;
  out["put_back"] = true;
  out["log_dropped"] = 12;
  traffic(tag, &out);
  return out;
}

Json::Value stuck_attempt() {
  Signal stuck = kGyr;
  stuck.noise = 0;
  Json::Value out = attempt(1, "failed", 5);
  out["reasons"] = texts({"Gyr x: all samples were equal (variance 0); the run restarted twice"});
  out["hints"] = texts({"the sensor repeats one value: it is stuck, or its driver does not update it"});
  out["window"] = window(stuck);
  for (int i = 0; i < 2; ++i) {
    add_samples(stuck, 53, "discarded", 0, &out["window"]);
    restart("zero_variance", "x", 0, 0, &out);
  }
  (*--out["window"]["samples"].end())["values"][1] = "nan";
  return out;
}

Json::Value light_attempt(double scale_limit, const char* verdict) {
  Json::Value out = attempt(1, verdict, 2.1,
                            {{"scale", "light", 0.943, "", 0.8, scale_limit, verdict},
                             {"residual", "light", 4.6, "lux", -10, 10, "marginal"}});
  Signal far = kLight;
  far.bias_limit = 220;
  out["window"] = window(far);
  add_samples(far, 1, "settling", 20, &out["window"]);
  add_samples(far, 9, "accepted", 0, &out["window"]);
  values("scale", "", {1}, {0.943}, &out);
  out["undoable"] = false;
  out["not_undoable"].append("the light scale, which the hub does not give back");
  out["kept"] = std::string(verdict) != "failed";
  return out;
}

Json::Value header(const char* verdict) {
  Json::Value out;
  out["schema"] = "sensorcal.run/1";
  out["verdict"] = verdict;
  out["marginal"] = false;
  out["serial"] = "K7-2026-000481";
  out["station"] = "line 3, station 2";
  out["operator"] = "M. Okafor";
  out["started"] = "2026-03-02T08:15:00.120Z";
  out["ended"] = "2026-03-02T08:15:42.845Z";
  out["seconds"] = 42.725;
  out["plan"]["name"] = "Reference plan";
  out["plan"]["file"] = "plans/reference.json";
  out["plan"]["hash"] = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08";
  out["application"]["version"] = "0.1.0";
  out["application"]["build_id"] = "a35c0de1f04b7719";
  out["library"]["version"] = "0.1.0";
  out["library"]["build_id"] = "77b1e0c2d4a35f60";
  out["phone"]["directory"] = "/srv/stations/3-2/phone";
  out["phone"]["profile"] = "reference";
  out["phone"]["seed"] = 7;
  out["phone"]["properties"]["ro.product.device"] = "reference";
  out["phone"]["properties"]["ro.product.model"] = "Reference One";
  out["phone"]["properties"]["ro.build.fingerprint"] =
      "maker/reference/reference:14/UP1A.231005.007/42:user/release-keys";
  out["remarks"] = Json::Value(Json::arrayValue);
  out["steps"] = Json::Value(Json::arrayValue);
  return out;
}

}  // namespace

Json::Value passed() {
  Json::Value out = header("passed");
  out["marginal"] = true;
  out["steps"].append(step(1, "Lay the phone flat", "fixture", "", "passed", {attempt(1, "passed", 0.02)}));
  out["steps"].append(step(2, "Accelerometer offset", "calibrate", "Acc", "passed",
                           {moving_attempt(1, "Acc", kAcc, 0.4),
                            good_attempt(2, "Acc", kAcc,
                                         {{"offset", "x", 0.0271, "m/s^2", -2, 2, "passed"},
                                          {"residual", "x", -0.0013, "m/s^2", -0.02, 0.02, "passed"},
                                          {"residual", "y", -0.00096, "m/s^2", -0.02, 0.02, "passed"},
                                          {"noise", "x", 0.0052, "m/s^2", Json::nullValue, 0.05, "passed"}})}));
  out["steps"].append(step(3, "Light scale", "calibrate", "Light", "marginal", {light_attempt(1.2, "passed")}));
  out["steps"].append(
      step(4, "Rear colour", "verify", "cct-b-stream", "passed",
           {good_attempt(1, "cct-b-stream", kColour, {{"residual", "c1", 0.012, "", -0.05, 0.05, "passed"}})}));
  return out;
}

Json::Value failed() {
  Json::Value out = header("failed");
  out["remarks"] = texts({"Acc: the recording walk.csv has 3 gaps over 60 ms", "the light sensor plays a recording"});
  out["steps"].append(step(1, "Lay the phone flat", "fixture", "", "passed", {attempt(1, "passed", 0.02)}));
  out["steps"].append(step(2, "Accelerometer offset", "calibrate", "Acc", "failed",
                           {moving_attempt(1, "Acc", kAcc, 0.9), moving_attempt(2, "Acc", kAcc, 2.4)}));
  out["steps"].append(step(3, "Gyroscope offset", "calibrate", "Gyr", "failed", {stuck_attempt()}));
  Json::Value silent = attempt(1, "failed", 5);
  silent["reasons"] = texts({"Bar: no event came from the sensor until the time was over"});
  silent["hints"] = texts({"the sensor is silent: look at its connection and its driver"});
  out["steps"].append(step(4, "Barometer offset", "calibrate", "Bar", "failed", {silent}));
  Json::Value dark = light_attempt(0.9, "failed");
  dark["reasons"] = texts({"Light: scale 0.943, at most 0.9"});
  out["steps"].append(step(5, "Light scale", "calibrate", "Light", "failed", {dark}));
  out["steps"].append(step(6, "Proximity thresholds", "calibrate", "Prox", "skipped", {}));
  return out;
}

std::string hostile_text() {
  return std::string(
             "</script><script>alert('x')</script>\"&<!-- ]]> \xE2\x80\xA8 \xE2\x80\xAE \xC3\xA4\xF0\x9F\x93\xB1 "
             "\xC0\xAF \xED\xA0\x80 \xEF\xBF\xBF \xFF\x01\x1B[31m\x7F,\r\n=1+1\t../../etc/passwd ") +
         std::string(1, '\0') + "end";
}

Json::Value with_text_everywhere(const std::string& text) {
  Json::Value out = failed();
  out["remarks"].append(text);
  out["phone"]["properties"][text] = text;
  for (const char* name : {"verdict", "serial", "station", "operator", "started", "ended"}) out[name] = text;
  for (const char* name : {"name", "file", "hash"}) out["plan"][name] = text;
  Json::Value& one = out["steps"][1];
  for (const char* name : {"name", "kind", "group", "tag"}) one[name] = text;
  Json::Value& last = one["attempts"][1];
  for (const char* name : {"reasons", "hints", "notes"}) last[name].append(text);
  for (const char* name : {"name", "axis", "unit", "verdict", "value"}) last["measurements"][0][name] = text;
  last["window"]["unit"] = text;
  last["window"]["axes"][0] = text;
  for (const char* name : {"cause", "axis"}) last["window"]["restarts"][0][name] = text;
  for (const char* name : {"name", "unit"}) last["before"][0][name] = text;
  for (const char* name : {"time", "tag", "command", "note"}) last["hub"][0][name] = text;
  for (const char* name : {"priority", "tag", "text", "thread"}) last["log"][0][name] = text;
  return out;
}

}  // namespace records
