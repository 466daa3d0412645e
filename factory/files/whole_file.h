// Files as a whole.
#pragma once

#include <cstddef>
#include <exception>
#include <optional>
#include <string>

namespace factory {

// What no file that a person writes comes near: a wrong file, or an endless one, is refused soon.
inline constexpr size_t kFileMax = size_t{64} << 20U;

// All bytes of a file. Nothing: errno says why, EFBIG for one of more than `most` bytes.
std::optional<std::string> read_file(const std::string& file, size_t most = kFileMax);

// A file is either wholly there or as it was: written under another name and then renamed. Owner and mode stay. Throws
// AppError with the file's name. What is no regular file (a pipe, /dev/stdout) is written to as it stands.
void replace_file(const std::string& file, const std::string& content);

// Before `file` is written anew for `option`: throws AppError(kUsage) where it could not be, another option writes it,
// too, or it holds something that does not begin as such a file does ('#' is any digit): a store, a plan or a record
// that was named by mistake.
void require_output(const std::string& option, const std::string& file, const std::string& begin);

// The same of a folder, which is made with those above it where it is missing.
void require_output_folder(const std::string& option, const std::string& folder);

// Whether these are a file's first bytes; '#' is any digit.
bool begins(const std::string& file, const std::string& begin);

// What went wrong, in words: of a call of the standard library the path and the system's reason.
std::string reason_of(const std::exception& error);

// To a file descriptor. Goes on where a signal or a short write interrupts. False: errno says why.
bool write_all(int fd, const std::string& text);

}  // namespace factory
