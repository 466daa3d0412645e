// `sensorcal man` and `sensorcal completion`
#include <SensorType.h>

#include <iostream>
#include <memory>

#include "cli/completion.h"
#include "cli/man_page.h"
#include "commands/commands.h"
#include "phone/fixture.h"

namespace factory {
namespace {

std::vector<std::string> words_of(ValueKind kind) {
  std::vector<std::string> out;
  switch (kind) {
    case ValueKind::tag:
      for (const sensor_type::TagRow& row : sensor_type::kTags) out.emplace_back(row.tag);
      return out;
    case ValueKind::profile:
      return known_profiles();
    case ValueKind::fault:
      out = known_faults();
      for (std::string& line : out) line.erase(line.find_first_of(" :["));
      out.emplace_back("help");
      return out;
    case ValueKind::speed:
      return {"1", "10", "max"};
    case ValueKind::shell:
      return {"bash", "zsh"};
    case ValueKind::anything:
    case ValueKind::file:
    case ValueKind::directory:
      return out;
  }
  return out;
}

}  // namespace

Runner set_up_man(ArgumentParser parser) {
  return [parser](const Options& /*options*/) {
    std::cout << man_page(describe(parser.parent(), words_of), SENSORCAL_VERSION);
    return kPassed;
  };
}

Runner set_up_completion(ArgumentParser parser) {
  auto shell = std::make_shared<std::string>();
  parser.add_option("SHELL", *shell, "bash or zsh").required().one_of({"bash", "zsh"});
  return [parser, shell](const Options& /*options*/) {
    const CommandText program = describe(parser.parent(), words_of);
    std::cout << (*shell == "bash" ? bash_completion(program) : zsh_completion(program));
    return kPassed;
  };
}

}  // namespace factory
