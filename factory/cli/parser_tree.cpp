#include "cli/parser_tree.h"

#include <CLI/CLI.hpp>
#include <cctype>

namespace factory {
namespace {

// By the name of the option or of the positional.
constexpr struct {
  const char* name;
  ValueKind kind;
} kKinds[] = {
    {"TAG", ValueKind::tag},           {"SENSOR", ValueKind::tag},        {"--sensor", ValueKind::tag},
    {"FILE", ValueKind::file},         {"PLAN", ValueKind::file},         {"--log", ValueKind::file},
    {"--hub-log", ValueKind::file},    {"--html", ValueKind::file},       {"--junit", ValueKind::file},
    {"--phone", ValueKind::directory}, {"--csv", ValueKind::directory},   {"--record", ValueKind::directory},
    {"DIR", ValueKind::directory},     {"--profile", ValueKind::profile}, {"--fault", ValueKind::fault},
    {"--speed", ValueKind::speed},     {"SHELL", ValueKind::shell},
};

ValueKind kind_of(const std::string& name) {
  for (const auto& row : kKinds) {
    if (name == row.name) return row.kind;
  }
  return ValueKind::anything;
}

// "--hub-log" stands before HUB_LOG.
std::string stand_in(const std::string& option) {
  std::string out = option.substr(option.find_first_not_of('-'));
  for (char& c : out) c = c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

ArgumentText describe(const CLI::Option& option, const Offer& offer) {
  ArgumentText out;
  out.description = option.get_description();
  out.by_default = option.get_default_str();
  out.required = option.get_required();
  out.many = option.get_items_expected_max() > 1;
  if (option.get_positional()) {
    out.names = {option.get_single_name()};
    out.value = out.names[0];
    out.kind = kind_of(out.value);
    out.offered = offer(out.kind);
    return out;
  }
  for (const std::string& name : option.get_snames()) out.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) out.names.push_back("--" + name);
  out.many = out.many || option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
  if (option.get_items_expected_max() == 0) return out;
  out.value = stand_in(out.names.back());
  out.kind = kind_of(out.names.back());
  out.offered = offer(out.kind);
  return out;
}

}  // namespace

CommandText describe(const CLI::App& app, const Offer& offer) {
  CommandText out;
  out.name = app.get_name();
  out.summary = app.get_description();
  out.footer = app.get_footer();
  for (const CLI::Option* option : app.get_options({})) {
    if (option->get_group().empty()) continue;  // not for people
    (option->get_positional() ? out.positionals : out.options).push_back(describe(*option, offer));
  }
  for (const CLI::App* part : app.get_subcommands([](const CLI::App*) { return true; })) {
    out.parts.push_back(describe(*part, offer));
  }
  return out;
}

std::string synopsis(const ArgumentText& positional) {
  const std::string name = positional.value + (positional.many ? "..." : "");
  return positional.required ? name : "[" + name + "]";
}

}  // namespace factory
