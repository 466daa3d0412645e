// The id of a run: made at the station, unlike any other, and in the order of time. A UUID of version 7.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace factory::store {

std::string make_run_id(std::chrono::system_clock::time_point started);

// Milliseconds since 1970 that the id holds. Throws StoreError for what is no such id.
int64_t time_of_id_ms(const std::string& id);
int day_of_id(const std::string& id);  // since 1970

}  // namespace factory::store
