// Takes the runs of one station to the store, beside the station's work.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "store/spool.h"
#include "store/store.h"

namespace factory::line {

class Uploader {
 public:
  // `spool`: the station's own file, for a server. Throws StoreError.
  Uploader(const store::Uri& uri, const std::string& spool);
  ~Uploader();
  Uploader(const Uploader&) = delete;
  Uploader& operator=(const Uploader&) = delete;

  // The run is on the disk when this returns, in the store or in the spool. Throws StoreError.
  void keep(const record::Run& run);

  // Brings up what waits, for so long at most where the server is away. How many runs still wait; then it works no
  // more.
  int finish(double patience_s);

 private:
  using Clock = std::chrono::steady_clock;

  void carry();
  void stop(Clock::time_point until);

  const store::Uri uri_;
  std::optional<store::Store> store_;  // a file's
  std::optional<store::Spool> spool_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopping_ = false;    // guarded by mutex_, and so is the following
  Clock::time_point until_;  // when stopping
  bool more_ = true;         // runs may wait
  std::thread thread_;
};

}  // namespace factory::line
