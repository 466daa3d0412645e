#include "store/run_id.h"

#include <algorithm>
#include <cstdio>
#include <random>
#include <regex>

#include "store/uri.h"

namespace factory::store {
namespace {

constexpr size_t kLength = 36;
constexpr int64_t kMsMax = (int64_t{1} << 48) - 1;

bool well_formed(const std::string& id) {
  static const std::regex kForm("[0-9a-f]{8}-[0-9a-f]{4}-7[0-9a-f]{3}-[0-9a-f]{4}-[0-9a-f]{12}");
  return std::regex_match(id, kForm);
}

}  // namespace

std::string make_run_id(std::chrono::system_clock::time_point started) {
  const int64_t since = std::chrono::duration_cast<std::chrono::milliseconds>(started.time_since_epoch()).count();
  const auto ms = static_cast<uint64_t>(std::clamp<int64_t>(since, 0, kMsMax));
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
  if (!well_formed(id)) throw StoreError("a run has the id \"" + id.substr(0, 80) + "\", which is none");
  return std::stoll(id.substr(0, 8) + id.substr(9, 4), nullptr, 16);
}

int day_of_id(const std::string& id) { return static_cast<int>(time_of_id_ms(id) / 86400000); }

}  // namespace factory::store
