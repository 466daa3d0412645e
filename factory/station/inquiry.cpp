#include "station/inquiry.h"

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "files/json_text.h"
#include "files/whole_file.h"

namespace factory::station {
namespace {

namespace fs = std::filesystem;

constexpr double kMostSeconds = 120;
constexpr size_t kValueMax = 200;
constexpr size_t kPageMax = size_t{256} << 20U;
// As options of `stats`.
constexpr const char* kFilters[] = {"verdict", "station", "operator",     "profile", "lot",
                                    "plan",    "since",   "plan-version", "until"};

}  // namespace

Inquiry::Inquiry(const Settings& settings)
    : settings_(settings),
      runner_([](const std::string& /*figures*/) { return true; }, [this](const RunnerEnd& ended) { end(ended); }) {}

Inquiry::~Inquiry() {
  runner_.leave();
  std::error_code ignored;
  if (!folder_.empty()) fs::remove_all(folder_, ignored);
}

Refusal Inquiry::begin(const Json::Value& filters) {
  if (settings_.store.empty()) return {"no-store", {}, "this station has no store"};
  const std::lock_guard<std::mutex> lock(mutex_);
  if (phase_ == "working") return {"inquiry-busy", {}, "a page is being made already: wait for it"};
  Runner::Order order;
  order.command = {"nice", "-n", "10", settings_.given.at("program"), "stats"};
  for (const std::string& name : filters.getMemberNames()) {
    const Json::Value& value = filters[name];
    const bool known = std::find(std::begin(kFilters), std::end(kFilters), name) != std::end(kFilters);
    if (!known || !value.isString() || value.asString().size() > kValueMax ||
        value.asString().find('\0') != std::string::npos)
      return {"not-an-order", {name}, "no filter, or no text of at most 200 bytes: " + name};
    if (!value.asString().empty()) order.command.push_back("--" + name + "=" + value.asString());
  }
  if (folder_.empty()) {
    std::string made = (fs::temp_directory_path() / "sensorcal-station-XXXXXX").string();
    if (mkdtemp(made.data()) == nullptr) return {"no-store", {}, "there is no place for the page"};
    folder_ = made;
  }
  order.command.push_back("--html=" + folder_ + "/page.html");
  // Not among the arguments, which others of this computer may read.
  order.environment = {"SENSORCAL_STORE=" + settings_.store};
  order.folder = settings_.folder;
  order.silence = std::chrono::duration<double>(kMostSeconds);
  phase_ = "working";
  problem_.clear();
  runner_.start(std::move(order));
  return {};
}

void Inquiry::end(const RunnerEnd& end) {
  const std::lock_guard<std::mutex> lock(mutex_);
  phase_ = end.code == 0 && end.why.text.empty() ? "done" : "failed";
  if (phase_ == "failed") problem_ = end.last_words.empty() ? end.why.text : end.last_words;
}

Json::Value Inquiry::state() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return json_object({{"phase", phase_}, {"problem", problem_.empty() ? Json::Value() : Json::Value(problem_)}});
}

std::optional<std::string> Inquiry::page() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (phase_ != "done") return {};
  return read_file(folder_ + "/page.html", kPageMax);
}

}  // namespace factory::station
