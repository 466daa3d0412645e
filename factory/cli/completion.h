// Completions for shells.
#pragma once

#include <string>

#include "cli/parser_tree.h"

namespace factory {

std::string bash_completion(const CommandText& program);
std::string zsh_completion(const CommandText& program);

}  // namespace factory
