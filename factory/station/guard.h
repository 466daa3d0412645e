// Who may ask the station's web server, by what a browser sends with each request.
#pragma once

#include <string>
#include <vector>

namespace factory::station {

// The headers that count; a header that is not sent is empty.
struct Asked {
  bool posts = false;
  std::string host, origin, content_type;
  bool has_length = false;    // Content-Length
  bool is_encoded = false;    // Transfer-Encoding or Content-Encoding: how long the body is its length does not say
  std::string page_token;     // X-Page-Token
  std::string cookie;         // all of them
  std::string authorization;  // "Bearer TOKEN", of programs
  std::string query_token;    // of the address that a person opens first
};

class Guard {
 public:
  // `address`: that the server listens at. `names`: by which else browsers may know it. `token`: of those who may
  // enter; empty: all.
  Guard(const std::string& address, int port, std::vector<std::string> names, std::string token);

  // Of this program's pages: another one for each start.
  const std::string& page_token() const { return page_token_; }

  // Why not, as a code: "foreign-host", "foreign-origin", "no-token", "stale-page", "no-length", "not-json"; empty:
  // come in.
  std::string refuses(const Asked& asked, const std::string& local_address) const;
  // Whether the address that was opened carries the token, which then becomes a cookie.
  bool opens(const Asked& asked) const;
  std::string cookie() const { return "station=" + token_ + "; HttpOnly; SameSite=Strict; Path=/"; }

 private:
  bool is_own_host(const std::string& host, const std::string& local_address) const;
  bool has_token(const Asked& asked) const;

  const std::string address_;
  const std::string port_;
  const std::vector<std::string> names_;
  const std::string token_;
  const std::string page_token_;
};

}  // namespace factory::station
