#include "cli/argument_parser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>
#include <type_traits>
#include <utility>

#include "files/app_error.h"
#include "files/words.h"

namespace factory {

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

template <typename T>
CLI::Validator number_check(const std::string& name, const Argument& about) {
  const auto check = [name, low = about.low, high = about.high, above = about.above](const std::string& text) {
    T number{};
    bool too_large = false;
    const bool is_one = read(text, &number, &too_large);
    const auto seen = static_cast<double>(number);
    if (!is_one || seen < low || seen > high || (above && seen == low)) {
      throw AppError(kUsage,
                     name + " " + shortened(text) + ": " + wanted<T>(low, high, above) +
                         (too_large && high == kInfinity ? " of " + std::to_string(8 * sizeof(T)) + " bits" : ""));
    }
    return std::string();
  };
  return {check, ""};
}

CLI::Validator word_check(const std::string& name, const std::vector<std::string>& words) {
  const auto check = [=](const std::string& text) {
    if (std::find(words.begin(), words.end(), text) == words.end())
      throw AppError(kUsage, name + " '" + shortened(text) + "' is unknown" + or_nearest(text, words));
    return std::string();
  };
  return {check, "{" + joined(words, ",") + "}"};
}

void tell(CLI::Option* option, const std::string& name, const Argument& about) {
  option->required(about.required);
  if (about.repeated) option->take_all()->allow_extra_args(false);
  if (about.hidden) option->group("");
  if (about.shows_default) option->capture_default_str();
  if (!about.default_text.empty()) option->default_str(about.default_text);
  if (!about.envname.empty()) option->envname(about.envname);
  if (!about.excludes.empty()) option->excludes(about.excludes);
  if (!about.needs.empty()) option->needs(about.needs);
  if (about.values > 0) option->expected(about.values);
  if (!about.one_of.empty()) option->check(word_check(name, about.one_of));
}

// A shell's variable that is not set would be no text, or make the next option the text: what was asked for would be
// left out without a word.
CLI::Validator text_check(const std::string& name) {
  return CLI::Validator(
      [name](const std::string& text) {
        if (text.empty()) throw AppError(kUsage, name + ": the text is empty: give one, or leave " + name + " out");
        if (text.starts_with("--"))
          throw AppError(kUsage, name + ": its text is missing, " + shortened(text) + " is an option");
        return std::string();
      },
      "");
}

}  // namespace

template <typename T>
void ArgumentParser::add_option(const std::string& name, T& value, const std::string& help, const Argument& about) {
  CLI::Option* const option = app_->add_option(name, value, help);
  using Value = typename Number<T>::type;
  if constexpr (std::is_arithmetic_v<Value>) {
    option->check(number_check<Value>(name, about));
  } else {
    option->check(text_check(name));
  }
  tell(option, name, about);
}

template void ArgumentParser::add_option(const std::string&, int&, const std::string&, const Argument&);
template void ArgumentParser::add_option(const std::string&, uint64_t&, const std::string&, const Argument&);
template void ArgumentParser::add_option(const std::string&, float&, const std::string&, const Argument&);
template void ArgumentParser::add_option(const std::string&, double&, const std::string&, const Argument&);
template void ArgumentParser::add_option(const std::string&, std::string&, const std::string&, const Argument&);
template void ArgumentParser::add_option(const std::string&, std::optional<int>&, const std::string&, const Argument&);
template void ArgumentParser::add_option(const std::string&, std::optional<uint64_t>&, const std::string&,
                                         const Argument&);
template void ArgumentParser::add_option(const std::string&, std::optional<double>&, const std::string&,
                                         const Argument&);
template void ArgumentParser::add_option(const std::string&, std::vector<int>&, const std::string&, const Argument&);
template void ArgumentParser::add_option(const std::string&, std::vector<double>&, const std::string&, const Argument&);
template void ArgumentParser::add_option(const std::string&, std::vector<std::string>&, const std::string&,
                                         const Argument&);

void ArgumentParser::add_flag(const std::string& name, bool& value, const std::string& help, const Argument& about) {
  tell(app_->add_flag(name, value, help)->disable_flag_override(), name, about);
}

ArgumentParser ArgumentParser::add_subcommand(const std::string& name, const std::string& summary,
                                              std::function<void()> given, bool needed) {
  app_->require_subcommand(needed ? 1 : 0, 1);
  CLI::App* const part = app_->add_subcommand(name, summary);
  part->callback(std::move(given));
  return ArgumentParser(*part);
}

std::vector<std::string> ArgumentParser::named() const {
  std::vector<std::string> out;
  for (const CLI::Option* option : app_->get_options()) {
    const char* const elsewhere = option->get_envname().empty() ? nullptr : getenv(option->get_envname().c_str());
    const bool stands_in = elsewhere != nullptr && option->results() == std::vector<std::string>{elsewhere};
    if (option->count() > 0 && !stands_in) out.push_back(option->get_name());
  }
  return out;
}

const CLI::App& ArgumentParser::parent() const { return *app_->get_parent(); }

}  // namespace factory
