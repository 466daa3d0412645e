// `sensorcal man` and `sensorcal completion`
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "manual/completion.h"
#include "manual/man_page.h"

namespace factory {

Runner set_up_man(ArgumentParser parser) {
  return [parser](const Options& /*options*/) {
    std::cout << man_page(describe(parser.parent()), SENSORCAL_VERSION);
    return kPassed;
  };
}

Runner set_up_completion(ArgumentParser parser) {
  auto shell = std::make_shared<std::string>();
  parser.add_option("SHELL", *shell, "bash or zsh").required().one_of({"bash", "zsh"});
  return [parser, shell](const Options& /*options*/) {
    const CommandText program = describe(parser.parent());
    std::cout << (*shell == "bash" ? bash_completion(program) : zsh_completion(program));
    return kPassed;
  };
}

}  // namespace factory
