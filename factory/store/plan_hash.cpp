#include "store/plan_hash.h"

#include <openssl/sha.h>

namespace factory::store {

std::string sha256(const std::string& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest);
  std::string out;
  for (const unsigned char byte : digest) {
    out += kDigits[byte >> 4U];
    out += kDigits[byte & 15U];
  }
  return out;
}

void hash_plan(record::Run* run) {
  if (run->plan.sha256.empty() && !run->plan.bytes.empty()) run->plan.sha256 = sha256(run->plan.bytes);
}

}  // namespace factory::store
