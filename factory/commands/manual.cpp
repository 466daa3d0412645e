// `sensorcal man` and `sensorcal completion`
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "manual/completion.h"
#include "manual/man_page.h"

namespace factory {

Runner set_up_man(CLI::App& app) {
  return [&app](const Options& /*options*/) {
    std::cout << man_page(describe(*app.get_parent()), SENSORCAL_VERSION);
    return kPassed;
  };
}

Runner set_up_completion(CLI::App& app) {
  auto shell = std::make_shared<std::string>();
  app.add_option("SHELL", *shell, "bash or zsh")->required()->check(CLI::IsMember({"bash", "zsh"}));
  return [&app, shell](const Options& /*options*/) {
    const CommandText program = describe(*app.get_parent());
    std::cout << (*shell == "bash" ? bash_completion(program) : zsh_completion(program));
    return kPassed;
  };
}

}  // namespace factory
