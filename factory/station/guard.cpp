#include "station/guard.h"

#include <algorithm>
#include <cstdio>
#include <random>
#include <utility>

#include "files/words.h"
#include "station/settings.h"

namespace factory::station {
namespace {

// 128 bits of the system's source.
std::string random_token() {
  std::random_device random;
  char text[33];
  snprintf(text, sizeof text, "%08x%08x%08x%08x", random(), random(), random(), random());
  return text;
}

// In a time that does not tell how much of it is right.
bool same_secret(const std::string& one, const std::string& other) {
  unsigned differs = one.size() == other.size() ? 0 : 1;
  for (size_t i = 0; i < one.size(); ++i)
    differs |= static_cast<unsigned>(one[i]) ^ static_cast<unsigned>(i < other.size() ? other[i] : 0);
  return differs == 0 && !one.empty();
}

// As it stands in an address: "[::1]".
std::string in_address(const std::string& address) {
  return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

std::string value_of_cookie(const std::string& cookies, const std::string& name) {
  for (size_t at = 0; at < cookies.size();) {
    const size_t end = std::min(cookies.find(';', at), cookies.size());
    const size_t begin = std::min(cookies.find_first_not_of(' ', at), end);
    const std::string one = cookies.substr(begin, end - begin);
    if (one.starts_with(name + "=")) return one.substr(name.size() + 1);
    at = end + 1;
  }
  return "";
}

}  // namespace

Guard::Guard(const std::string& address, int port, std::vector<std::string> names, std::string token)
    : address_(address),
      port_(":" + std::to_string(port)),
      names_(std::move(names)),
      token_(std::move(token)),
      page_token_(random_token()) {}

// A name that somebody else's name server gives this computer is none of its own: such a page would be of that origin.
bool Guard::is_own_host(const std::string& host, const std::string& local_address) const {
  if (!host.ends_with(port_)) return port_ == ":80" && is_own_host(host + port_, local_address);
  const std::string name = lower(host.substr(0, host.size() - port_.size()));
  if (name == in_address(address_) || name == in_address(local_address)) return true;
  if (is_loopback(address_) && (name == "localhost" || name == "127.0.0.1" || name == "[::1]")) return true;
  return std::any_of(names_.begin(), names_.end(), [&](const std::string& own) { return lower(own) == name; });
}

bool Guard::has_token(const Asked& asked) const {
  if (token_.empty()) return true;
  const std::string bearer = asked.authorization.starts_with("Bearer ") ? asked.authorization.substr(7) : "";
  return same_secret(token_, value_of_cookie(asked.cookie, "station")) || same_secret(token_, bearer);
}

bool Guard::opens(const Asked& asked) const {
  return !token_.empty() && !asked.posts && same_secret(token_, asked.query_token);
}

std::string Guard::refuses(const Asked& asked, const std::string& local_address) const {
  if (!is_own_host(asked.host, local_address)) return "foreign-host";
  if (!asked.origin.empty() && lower(asked.origin) != "http://" + lower(asked.host)) return "foreign-origin";
  if (!has_token(asked) && !opens(asked)) return "no-token";
  if (!asked.posts) return "";
  if (!same_secret(page_token_, asked.page_token)) return "stale-page";
  if (!asked.has_length || asked.is_encoded) return "no-length";
  const std::string type = lower(asked.content_type.substr(0, asked.content_type.find(';')));
  return type == "application/json" ? "" : "not-json";
}

}  // namespace factory::station
