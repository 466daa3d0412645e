#include "store/uri.h"

#include <cstdlib>
#include <filesystem>
#include <regex>

#include "files/app_error.h"

namespace factory::store {
namespace {

namespace fs = std::filesystem;

Uri server(const std::string& text) {
  static const std::regex kUser("^([a-z]+://[^/?@]*):[^/?]*@");
  static const std::regex kParameter("([?&]password=)[^&]*");
  Uri uri;
  uri.postgresql = true;
  uri.shown = std::regex_replace(std::regex_replace(text, kUser, "$1@"), kParameter, "$1...");
  uri.place = text;
  // A server that is away must not hold the station up.
  if (text.find("connect_timeout=") == std::string::npos)
    uri.place += (text.find('?') == std::string::npos ? "?" : "&") + std::string("connect_timeout=3");
  return uri;
}

Uri file(const std::string& name, const std::string& text) {
  if (name.empty()) throw AppError(kUsage, "store \"" + text + "\": the file's name is missing");
  Uri uri;
  uri.place = fs::absolute(name).lexically_normal().string();
  uri.shown = name;
  return uri;
}

}  // namespace

Uri parse_uri(const std::string& text) {
  if (text.starts_with("postgresql://") || text.starts_with("postgres://")) return server(text);
  if (text.starts_with("sqlite:")) return file(text.substr(7), text);
  static const std::regex kScheme("^[A-Za-z][A-Za-z0-9+.-]*://.*");
  if (std::regex_match(text, kScheme))
    throw AppError(kUsage, "store \"" + text + "\": neither sqlite:FILE nor postgresql://...");
  return file(text, text);
}

std::string default_spool() {
  fs::path folder;
  // The standard says that a relative path is to be ignored.
  if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && state[0] == '/') {
    folder = state;
  } else if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
    folder = fs::path(home) / ".local" / "state";
  } else {
    throw AppError(kUsage,
                   "no place for the spool: neither HOME nor XDG_STATE_HOME is set; name one with --spool FILE");
  }
  folder /= "sensorcal";
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) throw AppError(kUsage, folder.string() + ": cannot be made: " + error.message());
  return (folder / "spool.db").string();
}

}  // namespace factory::store
