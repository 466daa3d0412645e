// What a plan is known by, whatever its file is called.
#pragma once

#include <string>

#include "record/record.h"

namespace factory::store {

// SHA-256 of the bytes, in hex.
std::string sha256(const std::string& bytes);

// The plan's, where the record has its bytes and no hash yet.
void hash_plan(record::Run* run);

}  // namespace factory::store
