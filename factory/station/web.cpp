#include "station/web.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <utility>

#include "files/app_error.h"
#include "files/json_text.h"
#include "files/words.h"
#include "station/embedded.h"
#include "station/guard.h"
#include "station/http_server.h"
#include "station/inquiry.h"
#include "station/station.h"

namespace factory::station {
namespace {

using httplib::Request;
using httplib::Response;
using std::chrono::milliseconds;

constexpr size_t kBodyMax = size_t{64} << 10U;
constexpr int kStreamsMax = 24;
// So many answer at once besides; each at most as long as a scan waits for the store.
constexpr int kAnswering = 24;
constexpr milliseconds kBeat{2000};

constexpr struct {
  const char* ending;
  const char* type;
} kTypes[] = {{".html", "text/html; charset=utf-8"},
              {".js", "text/javascript; charset=utf-8"},
              {".css", "text/css; charset=utf-8"},
              {".json", "application/json"},
              {".svg", "image/svg+xml"}};

const httplib::Headers kHeaders = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"}};

const char* type_of(std::string_view name) {
  for (const auto& [ending, type] : kTypes) {
    if (name.ends_with(ending)) return type;
  }
  return "application/octet-stream";
}

bool is_utf8(std::string_view text) {
  for (size_t length = 1; !text.empty() && length != 0; text.remove_prefix(length)) {
    length = utf8_length(text);
    if (length == 0) return false;
  }
  return true;
}

std::string put_in(std::string page, const std::string& what, const std::string& value) {
  for (size_t at = page.find(what); at != std::string::npos; at = page.find(what, at + value.size()))
    page.replace(at, what.size(), value);
  return page;
}

void refuse(Response* out, int status, const Refusal& refusal) {
  out->status = status;
  out->set_content(json_line(json_object(
                       {{"code", refusal.code}, {"arguments", json_list(refusal.arguments)}, {"text", refusal.text}})),
                   "application/json");
}

Asked asked_of(const Request& request) {
  Asked out;
  out.posts = request.method != "GET" && request.method != "HEAD";
  out.host = request.get_header_value("Host");
  out.origin = request.get_header_value("Origin");
  out.content_type = request.get_header_value("Content-Type");
  out.has_length = request.has_header("Content-Length");
  out.is_encoded = request.has_header("Transfer-Encoding") || request.has_header("Content-Encoding");
  out.page_token = request.get_header_value("X-Page-Token");
  out.cookie = request.get_header_value("Cookie");
  out.authorization = request.get_header_value("Authorization");
  if (request.path == "/") out.query_token = request.get_param_value("token");
  return out;
}

// One that a browser can open, of those that a server listens at which listens at all of them.
std::string reached_at(const std::string& address) {
  const bool six = address == "::";
  if (!six && address != "0.0.0.0") return address;
  std::string out = six ? "::1" : "127.0.0.1";
  ifaddrs* all = nullptr;
  if (getifaddrs(&all) != 0) return out;
  for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
    if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET || (one->ifa_flags & IFF_LOOPBACK) != 0)
      continue;
    char host[NI_MAXHOST] = "";
    if (getnameinfo(one->ifa_addr, sizeof(sockaddr_in), host, sizeof host, nullptr, 0, NI_NUMERICHOST) == 0) out = host;
    break;
  }
  freeifaddrs(all);
  return out;
}

}  // namespace

class Web::Server {
 public:
  Server(Station* station, const Settings& settings) : station_(*station), settings_(settings), inquiry_(settings) {
    server_.set_payload_max_length(kBodyMax);
    server_.set_tcp_nodelay(true);
    // Another program of this user's must not share the port.
    server_.set_socket_options([](socket_t socket) {
      const int yes = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server_.set_default_headers(kHeaders);
    add_page();
    add_questions();
    add_orders();
    add_inquiry();
    listen();
  }
  ~Server() {
    server_.stop();
    thread_.join();
  }

  std::string address() const {
    const std::string at = reached_at(settings_.address);
    return "http://" + (at.find(':') == std::string::npos ? at : "[" + at + "]") + ":" + std::to_string(port_) + "/" +
           (settings_.token.empty() ? "" : "?token=" + settings_.token);
  }

 private:
  void listen() {
    const std::string& address = settings_.address;
    port_ = settings_.port != 0 ? settings_.port : server_.bind_to_any_port(address);
    if (port_ <= 0 || (settings_.port != 0 && !server_.bind_to_port(address, port_))) {
      throw AppError(kUnreachable,
                     address + ", port " + std::to_string(settings_.port) +
                         ": cannot listen there; another program may, or the address is not this computer's");
    }
    guard_.emplace(address, port_, settings_.names, settings_.token);
    server_.set_pre_routing_handler([this](const Request& request, Response& response) {
      if (request.method == "GET") server_.heard();  // of others the body is still to come
      const std::string why = guard_->refuses(asked_of(request), request.local_addr);
      if (why.empty()) return httplib::Server::HandlerResponse::Unhandled;
      refuse(&response,
             why == "not-json"    ? 415
             : why == "no-length" ? 411
                                  : 403,
             {why == "stale-page" ? why : "not-allowed", {why}, "not allowed: " + why});
      return httplib::Server::HandlerResponse::Handled;
    });
    thread_ = std::thread([this] { server_.listen_after_bind(); });
  }

  void add_page() {
    server_.Get("/", [this](const Request& request, Response& response) {
      if (guard_->opens(asked_of(request))) {
        response.set_header("Set-Cookie", guard_->cookie());
        return response.set_redirect("/", 303);
      }
      response.set_content(page("station.html"), type_of(".html"));
    });
    server_.Get("/runs", [this](const Request& /*request*/, Response& response) {
      response.set_content(page("runs.html"), type_of(".html"));
    });
    for (const Asset& asset : page_assets()) {
      if (!asset.name.ends_with(".html")) add_file("/" + std::string(asset.name), asset.name, asset.bytes);
    }
    const std::string texts = "texts/" + settings_.language + ".json";
    if (const Asset* table = page_asset(texts)) add_file("/texts.json", table->name, table->bytes);
  }

  std::string page(const char* name) const {
    std::string out = put_in(std::string(page_asset(name)->bytes), "@TOKEN@", guard_->page_token());
    return put_in(std::move(out), "@LANG@", settings_.language);
  }

  void add_file(std::string path, std::string_view name, std::string_view bytes) {
    for (size_t at = path.find('.'); at != std::string::npos; at = path.find('.', at + 2)) path.insert(at, "\\");
    server_.Get(path, [=](const Request& /*request*/, Response& response) {
      response.set_content(bytes.data(), bytes.size(), type_of(name));
    });
  }

  void add_questions() {
    server_.Get("/state", [this](const Request& /*request*/, Response& response) {
      response.set_content(station_.state(), "application/json");
    });
    server_.Get("/events", [this](const Request& /*request*/, Response& response) {
      const auto place = std::shared_ptr<void>(nullptr, [this](void*) { --streams_; });
      if (++streams_ > kStreamsMax)
        return refuse(&response, 503, {"too-many-windows", {}, "too many windows are open"});
      const auto seen = std::make_shared<Station::Seen>();
      response.set_chunked_content_provider(
          "text/event-stream",
          [this, place, seen](size_t /*offset*/, httplib::DataSink& sink) { return tell(seen.get(), &sink); });
    });
  }

  // What is new, or that the station is still there. A client that takes it too slowly is left.
  bool tell(Station::Seen* seen, httplib::DataSink* sink) {
    std::string text;
    for (const auto& [event, data] : station_.next(seen, kBeat))
      text += "event: " + std::string(event) + "\ndata: " + data + "\n\n";
    if (text.empty() && station_.closed()) return false;
    if (text.empty()) text = "event: beat\ndata: {}\n\n";
    return sink->write(text.data(), text.size());
  }

  void add_orders() {
    add_order("/scan",
              [this](const Json::Value& body) { return station_.scan(text(body, "slot"), text(body, "text")); });
    add_order("/answer", [this](const Json::Value& body) {
      return station_.answer(text(body, "slot"), number(body, "run"), number(body, "prompt"), text(body, "answer"));
    });
    add_order("/stop",
              [this](const Json::Value& body) { return station_.stop(text(body, "slot"), number(body, "run")); });
  }

  // The store's runs, as `stats` shows them.
  void add_inquiry() {
    add_order("/inquiry", [this](const Json::Value& body) {
      const Refusal refusal = inquiry_.begin(body);
      return Station::Done{refusal.code.empty() ? "begun" : "", "", refusal};
    });
    server_.Get("/inquiry", [this](const Request& /*request*/, Response& response) {
      response.set_content(json_line(inquiry_.state()), "application/json");
    });
    server_.Get("/inquiry\\.html", [this](const Request& /*request*/, Response& response) {
      const auto page = inquiry_.page();
      if (!page) return refuse(&response, 404, {"no-page", {}, "there is no such page"});
      // It has its scripts in it; without an origin of its own they can ask the station for nothing.
      response.headers.erase("Content-Security-Policy");
      response.set_header("Content-Security-Policy",
                          "sandbox allow-scripts allow-popups; default-src 'none'; script-src 'unsafe-inline'; "
                          "style-src 'unsafe-inline'; img-src data:; base-uri 'none'; frame-ancestors 'none'");
      response.set_content(*page, type_of(".html"));
    });
  }

  // What is missing, or null, is what nobody is called.
  static std::string text(const Json::Value& body, const char* key) {
    if (body[key].isNull()) return "";
    if (!body[key].isString()) throw AppError(kUsage, std::string(key) + ": wanted is a text");
    return body[key].asString();
  }
  static int number(const Json::Value& body, const char* key) {
    if (body[key].isNull()) return -1;
    if (!body[key].isInt()) throw AppError(kUsage, std::string(key) + ": wanted is a whole number");
    return body[key].asInt();
  }

  void add_order(const std::string& path, const std::function<Station::Done(const Json::Value&)>& order) {
    server_.Post(path, [this, order](const Request& request, Response& response) {
      // Its bytes may be here all the same.
      if (!server_.heard()) return refuse(&response, 408, {"not-allowed", {}, "the request came too late"});
      Json::Value body;
      std::string why;
      if (!is_utf8(request.body)) return refuse(&response, 400, {"not-json", {}, "wanted is UTF-8"});
      if (!parse_json(request.body, &body, &why) || !body.isObject())
        return refuse(&response, 400, {"not-json", {}, "wanted is a JSON object. " + why});
      Station::Done done;
      try {
        done = order(body);
      } catch (const AppError& error) {
        return refuse(&response, 400, {"wrong-type", {}, error.what()});
      }
      if (done.done.empty()) return refuse(&response, status_of(done.refusal.code), done.refusal);
      Json::Value json;
      json["done"] = done.done;
      if (!done.slot.empty()) json["slot"] = done.slot;
      response.set_content(json_line(json), "application/json");
    });
  }

  // 422: what was scanned is no good; 409: not now.
  static int status_of(const std::string& code) {
    for (const char* bad : {"not-a-serial", "empty", "too-long", "not-an-answer", "not-an-order"}) {
      if (code == bad) return 422;
    }
    return 409;
  }

  Station& station_;
  const Settings& settings_;
  Inquiry inquiry_;
  HttpServer server_{kStreamsMax + kAnswering};
  std::optional<Guard> guard_;
  std::atomic<int> streams_{0};
  int port_ = 0;
  std::thread thread_;
};

Web::Web(Station* station, const Settings& settings) : server_(std::make_unique<Server>(station, settings)) {}
Web::~Web() = default;
std::string Web::address() const { return server_->address(); }

}  // namespace factory::station
