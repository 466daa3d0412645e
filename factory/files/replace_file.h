// A file is either wholly there or as it was: written under another name and then renamed.
#pragma once

#include <string>

namespace factory {

// Owner and mode stay. Throws AppError with the file's name. What is no regular file (a pipe, /dev/stdout) is written
// to as it stands.
void replace_file(const std::string& file, const std::string& content);

}  // namespace factory
