// The man page, in groff's man macros.
#pragma once

#include <string>

#include "cli/parser_tree.h"

namespace factory {

std::string man_page(const CommandText& program, const std::string& version);

}  // namespace factory
