// A row of the verdict table as both look-ups see it.
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

enum RowField : size_t { kRowTag = 0, kRowKeyPath = 1, kRowFile = 2, kRowMode = 3 };
inline constexpr size_t kCompleteRow = 5;  // the fields a row needs to be used; its last one is the chip-name prefix

bool row_is_for(const std::vector<std::string>& row, const std::string& tag);

// Whether the row is complete and carries the mode's digit: "1", "2", or "0" for any other mode.
bool row_has_mode(const std::vector<std::string>& row, unsigned mode);
