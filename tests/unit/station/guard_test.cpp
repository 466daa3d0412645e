// Who gets in.
#include "station/guard.h"

namespace factory::station {
namespace {

Asked get(const std::string& host, const std::string& origin = "") {
  Asked out;
  out.host = host;
  out.origin = origin;
  return out;
}

TEST(StationGuard, KnowsItsOwnHostAndPage) {
  const Guard loopback("127.0.0.1", 8137, {"station3"}, "");
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"127.0.0.1:8137", "", ""},
      {"localhost:8137", "", ""},
      {"LOCALHOST:8137", "http://localhost:8137", ""},
      {"station3:8137", "http://station3:8137", ""},
      {"[::1]:8137", "", ""},
      {"", "", "foreign-host"},
      {"127.0.0.1", "", "foreign-host"},
      {"127.0.0.1:81370", "", "foreign-host"},
      {"attacker.example:8137", "", "foreign-host"},
      {"127.0.0.1.attacker.example:8137", "", "foreign-host"},
      {"10.0.3.8:8137", "", "foreign-host"},
      {"127.0.0.1:8137", "http://attacker.example", "foreign-origin"},
      {"127.0.0.1:8137", "https://127.0.0.1:8137", "foreign-origin"},
      {"127.0.0.1:8137", "http://localhost:8137", "foreign-origin"},
      {"127.0.0.1:8137", "null", "foreign-origin"},
  };
  for (const auto& [host, origin, why] : rows)
    EXPECT_EQ(loopback.refuses(get(host, origin), "127.0.0.1"), why) << host << " " << origin;
  const Guard everywhere("0.0.0.0", 80, {}, "0123456789abcdef");
  EXPECT_EQ(everywhere.refuses(get("10.0.3.7"), "10.0.3.7"), "no-token");
  EXPECT_EQ(everywhere.refuses(get("10.0.3.7:80"), "10.0.3.7"), "no-token");
  EXPECT_EQ(everywhere.refuses(get("10.0.3.8"), "10.0.3.7"), "foreign-host");
  EXPECT_EQ(everywhere.refuses(get("localhost"), "10.0.3.7"), "foreign-host");
}

TEST(StationGuard, WantsTheTokenOfWhoeverComes) {
  const Guard guard("10.0.3.7", 8137, {}, "0123456789abcdef");
  const std::tuple<const char*, const char*, const char*, bool> rows[] = {
      {"", "", "", false},
      {"station=0123456789abcdef", "", "", true},
      {"a=b; station=0123456789abcdef", "", "", true},
      {"a=b;station=0123456789abcdef;c=d", "", "", true},
      {"xstation=0123456789abcdef", "", "", false},
      {"station=0123456789abcde", "", "", false},
      {"station=0123456789abcdef0", "", "", false},
      {"station=", "", "", false},
      {"", "Bearer 0123456789abcdef", "", true},
      {"", "0123456789abcdef", "", false},
      {"", "", "0123456789abcdef", true},
      {"", "", "0123456789abcdeF", false},
  };
  for (const auto& [cookie, authorization, query, in] : rows) {
    Asked asked = get("10.0.3.7:8137");
    asked.cookie = cookie;
    asked.authorization = authorization;
    asked.query_token = query;
    EXPECT_EQ(guard.refuses(asked, "10.0.3.7"), in ? "" : "no-token") << cookie << authorization << query;
    asked.posts = true;  // an address opens a page, and gives no order
    EXPECT_FALSE(guard.opens(asked)) << query;
  }
}

TEST(StationGuard, TakesOrdersFromItsPageAlone) {
  const Guard guard("127.0.0.1", 8137, {}, "");
  const Guard other("127.0.0.1", 8137, {}, "");
  EXPECT_EQ(guard.page_token().size(), 32u);
  EXPECT_NE(guard.page_token(), other.page_token());
  Asked asked = get("127.0.0.1:8137", "http://127.0.0.1:8137");
  asked.posts = asked.has_length = true;
  asked.content_type = "application/json; charset=utf-8";
  for (const std::string& token :
       {std::string(), other.page_token(), guard.page_token() + "0", guard.page_token().substr(1)}) {
    asked.page_token = token;
    EXPECT_EQ(guard.refuses(asked, ""), "stale-page") << token;
  }
  asked.page_token = guard.page_token();
  EXPECT_EQ(guard.refuses(asked, ""), "");
  for (const char* type :
       {"", "text/plain", "application/x-www-form-urlencoded", "multipart/form-data", "application/jsonx"}) {
    asked.content_type = type;
    EXPECT_EQ(guard.refuses(asked, ""), "not-json") << type;
  }
  asked.is_encoded = true;
  EXPECT_EQ(guard.refuses(asked, ""), "no-length");
}

}  // namespace
}  // namespace factory::station
