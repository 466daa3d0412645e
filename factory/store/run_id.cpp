#include "store/run_id.h"

#include <algorithm>
#include <cstdio>
#include <random>

#include "record/record.h"
#include "store/uri.h"

namespace factory::store {
namespace {

constexpr size_t kLength = 36;

}  // namespace

std::string make_run_id(std::chrono::system_clock::time_point started) {
  const int64_t since = std::chrono::duration_cast<std::chrono::milliseconds>(started.time_since_epoch()).count();
  const auto ms = static_cast<uint64_t>(std::max<int64_t>(since, 0));
  // From the system's source: two stations that start alike must not count alike.
  std::random_device random;
  const uint32_t words[3] = {random(), random(), random()};
  char text[kLength + 1];
  snprintf(text, sizeof text, "%08x-%04x-7%03x-%04x-%04x%08x", static_cast<unsigned>(ms >> 16U),
           static_cast<unsigned>(ms & 0xffffU), words[0] & 0xfffU, 0x8000U | ((words[0] >> 16U) & 0x3fffU),
           words[1] & 0xffffU, words[2]);
  return text;
}

int64_t time_of_id_ms(const std::string& id) {
  if (!record::is_run_id(id)) throw StoreError("\"" + id.substr(0, 80) + "\" is no id of a run");
  return std::stoll(id.substr(0, 8) + id.substr(9, 4), nullptr, 16);
}

int day_of_id(const std::string& id) { return static_cast<int>(time_of_id_ms(id) / 86400000); }

}  // namespace factory::store
