// `sensorcal man` and `sensorcal completion`
#include <SensorType.h>

#include <iostream>
#include <memory>

#include "cli/completion.h"
#include "cli/man_page.h"
#include "commands/phone/commands.h"

namespace factory {
namespace {

std::vector<std::string> words_of(ValueKind kind, const Offer& more) {
  if (kind == ValueKind::shell) return {"bash", "zsh"};
  if (kind != ValueKind::tag) return more(kind);
  std::vector<std::string> out;
  for (const sensor_type::TagRow& row : sensor_type::kTags) out.emplace_back(row.tag);
  return out;
}

Runner set_up_man(ArgumentParser parser, const Offer& offer) {
  return [parser, offer](const Options& /*options*/) {
    std::cout << man_page(describe(parser.parent(), offer), SENSORCAL_VERSION);
    return kPassed;
  };
}

Runner set_up_completion(ArgumentParser parser, const Offer& offer) {
  auto shell = std::make_shared<std::string>();
  parser.add_option("SHELL", *shell, "bash or zsh").required().one_of({"bash", "zsh"});
  return [parser, shell, offer](const Options& /*options*/) {
    const CommandText program = describe(parser.parent(), offer);
    std::cout << (*shell == "bash" ? bash_completion(program) : zsh_completion(program));
    return kPassed;
  };
}

}  // namespace

std::vector<Command> manual_commands(const Offer& more) {
  const Offer offer = [more](ValueKind kind) { return words_of(kind, more); };
  return {{"man", "print the man page", "  sensorcal man | man -l -\n  sensorcal man > sensorcal.1",
           [offer](ArgumentParser parser) { return set_up_man(parser, offer); }},
          {"completion", "print the completions of a shell",
           "  source <(sensorcal completion bash)\n  sensorcal completion zsh > ~/.zfunc/_sensorcal",
           [offer](ArgumentParser parser) { return set_up_completion(parser, offer); }}};
}

}  // namespace factory
