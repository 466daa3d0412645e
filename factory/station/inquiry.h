// What a page asks of the store's runs: the page of `sensorcal stats`, made by that command in a process of its own, so
// that it takes neither the station's memory nor its threads. One at a time, and each within a time.
#pragma once

#include <json/value.h>

#include <mutex>
#include <optional>
#include <string>

#include "station/policy.h"
#include "station/runner.h"
#include "station/settings.h"

namespace factory::station {

class Inquiry {
 public:
  explicit Inquiry(const Settings& settings);
  // Ends what is under way.
  ~Inquiry();

  // Any thread, and so are the following. By an object of texts, kFilters; what is missing or empty leaves out no run.
  // Why not; without a code: it began.
  Refusal begin(const Json::Value& filters);
  // "idle", "working", "done" or "failed", with what went wrong.
  Json::Value state() const;
  // The page; nothing: there is none.
  std::optional<std::string> page() const;

 private:
  void end(const RunnerEnd& end);

  const Settings& settings_;
  std::string folder_;  // of its own, for the page
  mutable std::mutex mutex_;
  std::string phase_ = "idle";  // guarded by mutex_, and so is the following
  std::string problem_;
  Runner runner_;
};

}  // namespace factory::station
