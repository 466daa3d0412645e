// Files as a whole.
#pragma once

#include <optional>
#include <string>

namespace factory {

// All bytes of a file. Nothing: errno says why.
std::optional<std::string> read_file(const std::string& file);

// A file is either wholly there or as it was: written under another name and then renamed. Owner and mode stay. Throws
// AppError with the file's name. What is no regular file (a pipe, /dev/stdout) is written to as it stands.
void replace_file(const std::string& file, const std::string& content);

// To a file descriptor. Goes on where a signal or a short write interrupts. False: errno says why.
bool write_all(int fd, const std::string& text);

}  // namespace factory
