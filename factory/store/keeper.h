// Keeps the runs of `sensorcal run`: at once in a file, or by way of the spool on a server.
#pragma once

#include <sys/types.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "store/spool.h"
#include "store/store.h"

namespace factory::store {

class Keeper {
 public:
  // Opens what lies at the station. Throws AppError(kUsage) where that cannot be done: before the run, not after it.
  // `spool`: empty for the usual place.
  Keeper(const std::string& uri, const std::string& spool, bool samples);

  // The run is on this station's disk when this returns. Throws StoreError. Any thread.
  void keep(const record::Run& run);

  // Whether runs go to a server by way of a spool, and which file that is.
  bool has_spool() const { return spool_.has_value(); }
  std::string spool_file() const { return spool_ ? spool_->file() : ""; }

  // To the server, where there is one. Tells on standard error what could not be done; never throws for it. False: the
  // run of this id is one that the server does not take.
  bool bring_up(const std::string& id);

 private:
  using FileId = std::pair<dev_t, ino_t>;
  void open_store();

  const Uri uri_;
  const bool samples_;
  std::mutex mutex_;
  std::unique_ptr<Store> store_;  // used with mutex_ held, and so are the following
  std::string id_;                // the store's own: of the first one that lay there
  FileId file_;                   // that it writes
  std::optional<Spool> spool_;
};

// The record of a run that could not be kept, in a file of its own in the user's state folder. Returns what to do with
// it, in words. Throws AppError.
std::string save_unstored(const record::Run& run);

// On standard error: runs that the server would not take, and why it is away.
void tell_problems(const Brought& brought);

}  // namespace factory::store
