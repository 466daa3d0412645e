// Whole small files: read at once, replaced at once.
#pragma once

#include <string>

namespace phone {

// Both return an empty text, or what went wrong, naming the file.
std::string read_file(const std::string& path, std::string* content);

// A reader finds the old content or the new, never a part: writes a temporary file beside `path`, then renames it over.
// `durable` also waits until the disk has it. A failure leaves the old file as it was.
std::string replace_file(const std::string& path, const std::string& content, bool durable = true);

// Only what is surely not there is missing: a link to nowhere, or a file that cannot be reached, fails when it is read.
bool file_exists(const std::string& path);

}  // namespace phone
