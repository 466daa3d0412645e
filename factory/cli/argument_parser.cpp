#include "cli/argument_parser.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace factory {

CommandArgument CommandArgument::required() { return CommandArgument(option_->required()); }
CommandArgument CommandArgument::excludes(const std::string& other) {
  return CommandArgument(option_->excludes(other));
}
CommandArgument CommandArgument::values(int count) { return CommandArgument(option_->expected(count)); }
CommandArgument CommandArgument::envname(const std::string& variable) {
  return CommandArgument(option_->envname(variable));
}
CommandArgument CommandArgument::hidden() { return CommandArgument(option_->group("")); }
CommandArgument CommandArgument::capture_default_str() { return CommandArgument(option_->capture_default_str()); }

CommandArgument CommandArgument::range(int low, int high) {
  return CommandArgument(option_->check(CLI::Range(low, high)));
}

CommandArgument CommandArgument::in_range(double low, double high) {
  const auto plain = [](double value) {
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
  };
  const std::string range = plain(low) + " to " + plain(high);
  const CLI::Validator validator(
      [low, high, range](const std::string& text) {
        double value = 0;
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        const bool fits = error == std::errc() && stop == end && value >= low && value <= high;
        return fits ? "" : text + " is no number from " + range;
      },
      range);
  return CommandArgument(option_->check(validator));
}

CommandArgument CommandArgument::positive() { return CommandArgument(option_->check(CLI::PositiveNumber)); }
CommandArgument CommandArgument::non_negative() { return CommandArgument(option_->check(CLI::NonNegativeNumber)); }
CommandArgument CommandArgument::one_of(const std::vector<std::string>& words) {
  return CommandArgument(option_->check(CLI::IsMember(words)));
}

template <typename T>
CommandArgument ArgumentParser::add_option(const std::string& name, T& value, const std::string& help) {
  return CommandArgument(app_->add_option(name, value, help));
}

template CommandArgument ArgumentParser::add_option(const std::string&, int&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, uint64_t&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, float&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, double&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::string&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::optional<int>&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::optional<double>&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::vector<int>&, const std::string&);
template CommandArgument ArgumentParser::add_option(const std::string&, std::vector<std::string>&, const std::string&);

CommandArgument ArgumentParser::add_flag(const std::string& name, bool& value, const std::string& help) {
  return CommandArgument(app_->add_flag(name, value, help));
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
