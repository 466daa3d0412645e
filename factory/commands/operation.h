// The library's operations as a person can call them: arguments from text, results as JSON. The wrapping follows from
// the operations' own types.
#pragma once

#include <SensorCalibration.h>
#include <persistCalibrate.h>

#include <array>
#include <cctype>
#include <charconv>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "files/json_text.h"
#include "phone/options.h"
#include "phone/session.h"
#include "sensors/sensor.h"

namespace factory::operation {

using Cal = SensorCalibration;
using Api = SensorCalibrationAPI;

inline constexpr size_t kBuffer = 16;  // what an operation may fill

struct Context {
  Session& session;
  persistCalibrate files;
};

// One argument: its name in the operation's form, and the operator's text.
struct Argument {
  std::string name;
  std::string text;
};

[[noreturn]] inline void refuse(const Argument& argument, const std::string& wanted) {
  throw AppError(kUsage, argument.name + " " + argument.text + ": give " + wanted);
}

template <class T>
T parse_number(const Argument& argument, const std::string& text, const char* wanted) {
  T value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) refuse(argument, wanted);
  return value;
}

template <class T>
T parse(const Argument& argument, const std::string& text);
template <>
inline unsigned parse(const Argument& argument, const std::string& text) {
  return parse_number<unsigned>(argument, text, "a whole number of 32 bits, 0 or more");
}
template <>
inline float parse(const Argument& argument, const std::string& text) {
  return parse_number<float>(argument, text, "a number");
}
template <>
inline double parse(const Argument& argument, const std::string& text) {
  return parse_number<double>(argument, text, "a number");
}
template <>
inline bool parse(const Argument& argument, const std::string& text) {
  if (text != "true" && text != "false" && text != "1" && text != "0") refuse(argument, "true or false");
  return text == "true" || text == "1";
}
template <>
inline std::string parse(const Argument& /*argument*/, const std::string& text) {
  return text;
}
template <>
inline int parse(const Argument& argument, const std::string& text) {
  const bool tag = argument.name == "TYPE" && !text.empty() && std::isalpha(static_cast<unsigned char>(text[0])) != 0;
  if (!tag) return parse_number<int>(argument, text, "a whole number of 32 bits");
  try {
    return parse_tag(text);
  } catch (const AppError& error) {
    throw AppError(kUsage, argument.name + ": " + error.what());
  }
}

inline std::vector<std::string> split(const std::string& text, char at) {
  std::vector<std::string> out;
  std::istringstream parts(text);
  for (std::string part; std::getline(parts, part, at);) out.push_back(part);
  return out;
}

inline Json::Value to_json(int value) { return value; }
inline Json::Value to_json(bool value) { return value; }
inline Json::Value to_json(float value) { return json_number(value); }
inline Json::Value to_json(double value) { return json_number(value); }
inline Json::Value to_json(const std::string& value) { return value; }
inline Json::Value to_json(const char* value) { return value; }
template <class T>
inline Json::Value to_json(const std::vector<T>& values) {
  Json::Value out(Json::arrayValue);
  for (const T& value : values) out.append(to_json(value));
  return out;
}

// What an operation takes for one argument, kept while it runs. show() is what it left there, null where it cannot.
template <class T>
class Held {
 public:
  explicit Held(const Argument& argument) : value_(parse<T>(argument, argument.text)) {}
  const T& pass(Context& /*context*/) const { return value_; }
  Json::Value show() const { return {}; }

 private:
  const T value_;
};

template <>
class Held<const char*> {
 public:
  explicit Held(const Argument& argument) : text_(argument.text) {}
  const char* pass(Context& /*context*/) const { return text_.c_str(); }
  Json::Value show() const { return {}; }

 private:
  const std::string text_;
};

template <>
class Held<std::vector<std::string>> {
 public:
  explicit Held(const Argument& argument) : parts_(split(argument.text, ',')) {}
  const std::vector<std::string>& pass(Context& /*context*/) const { return parts_; }
  Json::Value show() const { return {}; }

 private:
  const std::vector<std::string> parts_;
};

// A list, given by commas; what is not given is 0.
template <class T>
class Held<T*> {
 public:
  explicit Held(const Argument& argument) {
    for (const std::string& part : split(argument.text, ',')) {
      if (given_ == kBuffer) refuse(argument, "at most 16 numbers with commas");
      values_[given_++] = parse<T>(argument, part);
    }
    if (given_ == 0) refuse(argument, "numbers with commas; 0 where the operation only writes them");
  }
  T* pass(Context& /*context*/) { return values_.data(); }
  // As many as were given, or as the operation made different from 0.
  Json::Value show() const {
    size_t count = kBuffer;
    while (count > given_ && values_[count - 1] == T{}) --count;
    return to_json(std::vector<T>(values_.begin(), values_.begin() + static_cast<long>(count)));
  }

 private:
  std::array<T, kBuffer> values_{};
  size_t given_ = 0;
};

// A record by its number.
template <>
class Held<_sensor_info*> {
 public:
  explicit Held(const Argument& argument) : number_(parse<unsigned>(argument, argument.text)) {
    if (number_ >= kMotion + kEnvironment) refuse(argument, "a record, 0 to 17");
  }
  _sensor_info* pass(Context& context) const {
    Cal& cal = context.session.cal();
    return number_ < kMotion ? &cal.motion_info[number_] : &cal.env_info[number_ - kMotion];
  }
  Json::Value show() const { return {}; }

 private:
  static constexpr unsigned kMotion = 8;
  static constexpr unsigned kEnvironment = 10;
  const unsigned number_;
};

template <class T>
T& object(Context& context);
template <>
inline Cal& object(Context& context) {
  return context.session.cal();
}
template <>
inline Api& object(Context& context) {
  if (context.session.cal().cal_api == nullptr) {
    context.session.require_ready();
    throw AppError(kUnreachable, "there is no command API");
  }
  return *context.session.cal().cal_api;
}
template <>
inline persistCalibrate& object(Context& context) {
  return context.files;
}

template <class T>
inline constexpr char kClass[] = "";
template <>
inline constexpr char kClass<Cal>[] = "SensorCalibration";
template <>
inline constexpr char kClass<Api>[] = "SensorCalibrationAPI";
template <>
inline constexpr char kClass<persistCalibrate>[] = "persistCalibrate";

template <class T>
inline constexpr char kSpelling[] = "std";  // each platform has a spelling of its own for the standard library's types
template <>
inline constexpr char kSpelling<int>[] = "int";
template <>
inline constexpr char kSpelling<unsigned>[] = "unsigned int";
template <>
inline constexpr char kSpelling<float>[] = "float";
template <>
inline constexpr char kSpelling<double>[] = "double";
template <>
inline constexpr char kSpelling<bool>[] = "bool";
template <>
inline constexpr char kSpelling<const char*>[] = "char const*";
template <>
inline constexpr char kSpelling<int*>[] = "int*";
template <>
inline constexpr char kSpelling<float*>[] = "float*";
template <>
inline constexpr char kSpelling<_sensor_info*>[] = "_sensor_info*";

template <class... A>
std::string signature() {
  std::string out;
  ((out += (out.empty() ? "" : ", ") + std::string(kSpelling<A>)), ...);
  return out;
}

// An operation with its arguments: gives the result and, by argument, what the operation left in lists.
using Bound = std::function<Json::Value(Context& context)>;

struct Operation {
  std::string name;
  std::string owner;  // class; empty for a free function
  std::vector<std::string> takes;
  std::string signature;
  std::function<Bound(const std::vector<Argument>&)> bind;
};

template <class R, class... A, class F, size_t... I>
Bound bind_arguments(F call, const std::vector<Argument>& arguments, std::index_sequence<I...> /*positions*/) {
  using Kept = std::tuple<Held<A>...>;
  const std::shared_ptr<Kept> held(new Kept{Held<A>(arguments[I])...});
  return [call, held, arguments](Context& context) {
    Json::Value out;
    if constexpr (std::is_void_v<R>) {
      call(context, std::get<I>(*held).pass(context)...);
      out["result"] = Json::Value();
    } else {
      out["result"] = to_json(call(context, std::get<I>(*held).pass(context)...));
    }
    [[maybe_unused]] const auto show = [&](const Argument& argument, const Json::Value& left) {
      if (!left.isNull()) out["lists"][argument.name] = left;
    };
    (show(arguments[I], std::get<I>(*held).show()), ...);
    return out;
  };
}

template <class C, class R, class... A, class F>
Operation make(const char* name, const char* takes, F call) {
  return {name, kClass<C>, split(takes, ' '), signature<std::decay_t<A>...>(),
          [call](const std::vector<Argument>& arguments) {
            return bind_arguments<R, std::decay_t<A>...>(call, arguments, std::index_sequence_for<A...>());
          }};
}

template <class C, class R, class... A>
Operation op(const char* name, R (C::*function)(A...), const char* takes = "") {
  return make<C, R, A...>(name, takes,
                          [=](Context& context, A... a) -> R { return (object<C>(context).*function)(a...); });
}
template <class C, class R, class... A>
Operation op(const char* name, R (C::*function)(A...) const, const char* takes = "") {
  return make<C, R, A...>(name, takes,
                          [=](Context& context, A... a) -> R { return (object<C>(context).*function)(a...); });
}
template <class R, class... A>
Operation op(const char* name, R (*function)(A...), const char* takes) {
  return make<void, R, A...>(name, takes, [=](Context& /*context*/, A... a) -> R { return function(a...); });
}

}  // namespace factory::operation
