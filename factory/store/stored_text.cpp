#include "store/stored_text.h"

#include <openssl/sha.h>

#include <array>

#include "files/numbers.h"
#include "files/words.h"

namespace factory::store {
namespace {

// U+10FF00 to U+10FFFF are F4 8F BC 80 to F4 8F BF BF: the byte's upper two bits in the third, its lower six in the
// last.
constexpr std::string_view kStart = "\xf4\x8f";

bool stands_for_byte(std::string_view s) {
  return s.starts_with(kStart) && utf8_length(s) == 4 && static_cast<unsigned char>(s[2]) >= 0xbc;
}

void append_byte(std::string* out, char c) {
  const auto byte = static_cast<unsigned char>(c);
  *out += kStart;
  *out += static_cast<char>(0xbcU | (byte >> 6U));
  *out += static_cast<char>(0x80U | (byte & 0x3fU));
}

std::array<unsigned char, SHA256_DIGEST_LENGTH> digest_of(std::string_view bytes) {
  std::array<unsigned char, SHA256_DIGEST_LENGTH> out;
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), out.data());
  return out;
}

}  // namespace

std::string to_stored(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  while (!bytes.empty()) {
    const size_t length = stands_for_byte(bytes) || bytes[0] == '\0' ? 0 : utf8_length(bytes);
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

std::string sha256(const std::string& bytes) {
  const auto digest = digest_of(bytes);
  return hex(digest.data(), digest.size());
}

long long key_of(std::string_view text) {
  const auto digest = digest_of(text);
  unsigned long long key = 0;
  for (size_t i = 0; i < 8; ++i) key = key << 8U | digest[i];
  return static_cast<long long>(key >> 1U);
}

}  // namespace factory::store
