// Text for people: tables, colour and progress, the last two on a terminal only.
#pragma once

#include <string>
#include <vector>

namespace factory {

// Whether standard output takes colour: a terminal, and NO_COLOR unset or empty.
bool colour_wanted();

std::string bold(const std::string& text);
std::string good(const std::string& text);
std::string bad(const std::string& text);
std::string faint(const std::string& text);

// Columns as wide as they need to be, two blanks between them. The first row is the header.
std::string table(const std::vector<std::vector<std::string>>& rows);

// A number with `digits` after the point; "nan" and "inf" as they are.
std::string fixed(double value, int digits);

}  // namespace factory
