// Any bytes as a text that every database takes: UTF-8 without a zero byte.
#pragma once

#include <string>
#include <string_view>

namespace factory::store {

// A byte that belongs to no UTF-8 character, and the zero byte, becomes the private character U+10FF00 plus the byte.
// Those characters themselves are taken as such bytes, so that two texts never become one.
std::string to_stored(std::string_view bytes);

// The bytes again.
std::string from_stored(std::string_view text);

// SHA-256 of the bytes, in hex.
std::string sha256(const std::string& bytes);

// A whole number from 0 that stands for the text in an index: of the same length for any text.
long long key_of(std::string_view text);

}  // namespace factory::store
