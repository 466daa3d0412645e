#include "store/sync.h"

#include <sys/socket.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "record/record_json.h"
#include "store/store.h"

namespace factory::store {
namespace {

// Ends a wait for a server that has fallen silent: shuts the connection down, which its reader then sees.
class Patience {
 public:
  Patience(int socket, double seconds) : socket_(socket), span_(seconds) {
    if (socket_ >= 0) thread_ = std::thread([this] { watch(); });
  }
  ~Patience() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      over_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
  }
  Patience(const Patience&) = delete;
  Patience& operator=(const Patience&) = delete;

  void renew() {
    const std::lock_guard<std::mutex> lock(mutex_);
    end_ = Clock::now() + span_;
  }

 private:
  using Clock = std::chrono::steady_clock;

  void watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!over_ && Clock::now() < end_) changed_.wait_until(lock, end_);
    if (!over_) shutdown(socket_, SHUT_RDWR);
  }

  const int socket_;
  const std::chrono::duration<double> span_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool over_ = false;  // guarded by mutex_, and so is the following
  std::chrono::time_point<Clock, std::chrono::duration<double>> end_ = Clock::now() + span_;
  std::thread thread_;
};

void bring(Spool* spool, const Uri& uri, double patience_s, Brought* brought) {
  Database database(uri, Database::Access::create);
  std::optional<Store> store;
  // Begins before the first question and ends before the connection.
  Patience patience(database.socket(), patience_s);
  store.emplace(std::move(database));
  std::string last;
  while (const auto entry = spool->next(last)) {
    last = entry->id;
    try {
      ++(store->put(record::read_run(entry->record), entry->samples) ? brought->stored : brought->were_there);
    } catch (const AwayError&) {
      throw;
    } catch (const std::exception& error) {
      // One that cannot be taken holds no other up.
      brought->refused.push_back(last + ": " + error.what());
      continue;
    }
    spool->drop(last);
    patience.renew();
  }
}

}  // namespace

Brought bring_up(Spool* spool, const Uri& uri, double patience_s) {
  Brought brought;
  try {
    if (spool->waiting() > 0) bring(spool, uri, patience_s, &brought);
  } catch (const std::exception& error) {
    brought.away = error.what();
  }
  brought.waiting = spool->waiting();
  return brought;
}

}  // namespace factory::store
