#include "store/stored_text.h"

#include <openssl/sha.h>

namespace factory::store {
namespace {

// Length of the UTF-8 character at the start; 0 when there is none. Surrogates and overlong forms are none.
size_t character(std::string_view s) {
  const auto at = [&](size_t i) { return i < s.size() ? static_cast<unsigned char>(s[i]) : 0U; };
  const auto follows = [&](size_t i, unsigned low, unsigned high) { return at(i) >= low && at(i) <= high; };
  const unsigned first = at(0);
  if (first >= 1 && first < 0x80) return 1;
  if (first >= 0xc2 && first <= 0xdf) return follows(1, 0x80, 0xbf) ? 2 : 0;
  if (first >= 0xe0 && first <= 0xef) {
    const unsigned low = first == 0xe0 ? 0xa0 : 0x80;
    const unsigned high = first == 0xed ? 0x9f : 0xbf;
    return follows(1, low, high) && follows(2, 0x80, 0xbf) ? 3 : 0;
  }
  if (first >= 0xf0 && first <= 0xf4) {
    const unsigned low = first == 0xf0 ? 0x90 : 0x80;
    const unsigned high = first == 0xf4 ? 0x8f : 0xbf;
    return follows(1, low, high) && follows(2, 0x80, 0xbf) && follows(3, 0x80, 0xbf) ? 4 : 0;
  }
  return 0;
}

// U+10FF00 to U+10FFFF are F4 8F BC 80 to F4 8F BF BF: the byte's upper two bits in the third, its lower six in the
// last.
constexpr std::string_view kStart = "\xf4\x8f";

bool stands_for_byte(std::string_view s) {
  return s.size() >= 4 && s.substr(0, 2) == kStart && static_cast<unsigned char>(s[2]) >= 0xbc && character(s) == 4;
}

void append_byte(std::string* out, char c) {
  const auto byte = static_cast<unsigned char>(c);
  *out += kStart;
  *out += static_cast<char>(0xbcU | (byte >> 6U));
  *out += static_cast<char>(0x80U | (byte & 0x3fU));
}

}  // namespace

std::string to_stored(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    const size_t length = stands_for_byte(bytes) ? 0 : character(bytes);
    if (length == 0) {
      append_byte(&out, bytes[0]);
    } else {
      out += bytes.substr(0, length);
    }
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return out;
}

std::string from_stored(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const bool byte = stands_for_byte(text);
    out += byte ? static_cast<char>(((static_cast<unsigned char>(text[2]) & 3U) << 6U) |
                                    (static_cast<unsigned char>(text[3]) & 0x3fU))
                : text[0];
    text.remove_prefix(byte ? 4 : 1);
  }
  return out;
}

long long key_of(std::string_view text) {
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
  unsigned long long key = 0;
  for (int i = 0; i < 8; ++i) key = key << 8U | digest[i];
  return static_cast<long long>(key >> 1U);
}

}  // namespace factory::store
