#include "cli/argument_parser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

#include "files/app_error.h"
#include "files/words.h"

namespace factory {

struct CommandArgument::Limits {
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  bool above = false;  // `low` itself is not taken
};

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

template <typename T>
struct Number {
  using type = T;
};
template <typename T>
struct Number<std::optional<T>> : Number<T> {};
template <typename T>
struct Number<std::vector<T>> : Number<T> {};

std::string in_full(double value) {
  char text[32];
  const auto end = std::to_chars(std::begin(text), std::end(text), value, std::chars_format::fixed).ptr;
  return {text, end};
}

template <typename T>
std::string wanted(double low, double high, bool above) {
  const std::string number = std::is_integral_v<T> ? "give a whole number" : "give a number";
  if (low == -kInfinity && std::is_unsigned_v<T>) low = 0;
  if (low > -kInfinity && high < kInfinity) return number + " from " + in_full(low) + " to " + in_full(high);
  if (low > -kInfinity) return number + (above ? " above " : ", ") + in_full(low) + (above ? "" : " or more");
  return number;
}

// A number in full, finite, and one that fits.
template <typename T>
bool read(const std::string& text, T* number, bool* too_large) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *number);
  *too_large = error == std::errc::result_out_of_range && stop == end;
  return error == std::errc() && stop == end && std::isfinite(static_cast<double>(*number));
}

std::string shortened(const std::string& text) {
  constexpr size_t kShown = 40;
  return text.size() <= kShown ? text : text.substr(0, kShown) + "...";
}

[[noreturn]] void refuse(const std::string& name, const std::string& text, const std::string& why) {
  throw AppError(kUsage, name + " " + shortened(text) + ": " + why);
}

}  // namespace

CommandArgument CommandArgument::required() {
  option_->required();
  return *this;
}
CommandArgument CommandArgument::excludes(const std::string& other) {
  option_->excludes(other);
  return *this;
}
CommandArgument CommandArgument::needs(const std::string& other) {
  option_->needs(other);
  return *this;
}
CommandArgument CommandArgument::values(int count) {
  option_->expected(count);
  return *this;
}
CommandArgument CommandArgument::repeated() {
  option_->take_all()->allow_extra_args(false);
  return *this;
}
CommandArgument CommandArgument::envname(const std::string& variable) {
  option_->envname(variable);
  return *this;
}
CommandArgument CommandArgument::hidden() {
  option_->group("");
  return *this;
}
CommandArgument CommandArgument::capture_default_str() {
  option_->capture_default_str();
  return *this;
}
CommandArgument CommandArgument::default_text(const std::string& text) {
  option_->default_str(text);
  return *this;
}

CommandArgument CommandArgument::range(double low, double high) {
  limits_->low = low;
  limits_->high = high;
  return *this;
}
CommandArgument CommandArgument::positive() {
  limits_->low = 0;
  limits_->above = true;
  return *this;
}
CommandArgument CommandArgument::non_negative() {
  limits_->low = 0;
  return *this;
}

CommandArgument CommandArgument::one_of(const std::vector<std::string>& words) {
  const std::string name = option_->get_single_name();
  const std::string shown = option_->get_positional() ? name : "--" + name;
  const CLI::Validator known(
      [words, shown](const std::string& text) {
        if (std::find(words.begin(), words.end(), text) == words.end())
          throw AppError(kUsage, shown + " '" + shortened(text) + "' is unknown" + or_nearest(text, words));
        return std::string();
      },
      "{" + joined(words, ",") + "}");
  option_->check(known);
  return *this;
}

template <typename T>
CommandArgument ArgumentParser::add_option(const std::string& name, T& value, const std::string& help) {
  CLI::Option* const option = app_->add_option(name, value, help);
  using Value = typename Number<T>::type;
  if constexpr (std::is_arithmetic_v<Value>) {
    auto limits = std::make_shared<CommandArgument::Limits>();
    option->check(CLI::Validator(
        [limits, name](const std::string& text) {
          Value number{};
          bool too_large = false;
          const bool is_one = read(text, &number, &too_large);
          const auto seen = static_cast<double>(number);
          if (!is_one || seen < limits->low || seen > limits->high || (limits->above && seen == limits->low)) {
            refuse(name, text,
                   wanted<Value>(limits->low, limits->high, limits->above) +
                       (too_large && limits->high == kInfinity ? " of " + std::to_string(8 * sizeof(Value)) + " bits"
                                                               : ""));
          }
          return std::string();
        },
        ""));
    return CommandArgument(option, limits);
  }
  return CommandArgument(option, nullptr);
}

template CommandArgument ArgumentParser::add_option(const std::string&, int&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, uint64_t&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, float&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, double&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::string&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::optional<int>&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::optional<uint64_t>&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::optional<double>&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::vector<int>&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::vector<std::string>&, const std::string&);

CommandArgument ArgumentParser::add_flag(const std::string& name, bool& value, const std::string& help) {
  return CommandArgument(app_->add_flag(name, value, help), nullptr);
}

ArgumentParser ArgumentParser::add_subcommand(const std::string& name, const std::string& summary,
                                              std::function<void()> given) {
  app_->require_subcommand(1);
  CLI::App* const part = app_->add_subcommand(name, summary);
  part->callback(std::move(given));
  return ArgumentParser(*part);
}

const CLI::App& ArgumentParser::parent() const { return *app_->get_parent(); }

}  // namespace factory
