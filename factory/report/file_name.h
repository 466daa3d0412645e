// Names of files and folders that are made out of a run: "{serial}-{started}.html".
#pragma once

#include <string>

#include "record/record.h"

namespace factory {

// Throws AppError(kUsage) that begins with `option` where the pattern asks for what there is not. `known_before`: what
// only the end of a run tells is refused, too.
void check_pattern(const std::string& option, const std::string& pattern, bool known_before = false);

// Whether the name is another one for another run.
bool is_pattern(const std::string& text);

// {serial}, {started} (UTC), {plan} and {verdict}, each as part of a file's name: two that differ stay different, none
// leads into another folder.
std::string file_name(const std::string& pattern, const record::Run& run);

}  // namespace factory
