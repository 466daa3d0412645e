#include "line/uploader.h"

#include <chrono>
#include <iostream>

#include "store/spool.h"

namespace factory::line {
namespace {

// For one run of a server that answers; as a station has it.
constexpr double kPatienceSeconds = 10;
// Runs go up a few at a time: connecting costs more than writing one.
constexpr std::chrono::milliseconds kGather{200};
constexpr std::chrono::milliseconds kBeforeNextTry{300};

}  // namespace

Uploader::Uploader(const store::Uri& uri, const std::string& spool) : uri_(uri) {
  if (!uri_.postgresql) {
    store_.emplace(uri_);
    return;
  }
  spool_.emplace(spool);
  thread_ = std::thread([this] { carry(); });
}

Uploader::~Uploader() { stop(Clock::now()); }

void Uploader::keep(const record::Run& run) {
  if (store_) {
    store_->put(run, false);
    return;
  }
  spool_->keep(run, false);
  const std::lock_guard<std::mutex> lock(mutex_);
  more_ = true;
  changed_.notify_all();
}

int Uploader::finish(double patience_s) {
  stop(Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(patience_s)));
  return spool_ ? spool_->waiting() : 0;
}

void Uploader::stop(Clock::time_point until) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    until_ = until;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
}

// With a connection to the spool of its own: the station need not wait while the server is slow.
void Uploader::carry() {
  std::string told;
  try {
    store::Spool spool(spool_->file());
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return stopping_ || more_; });
      if (!more_) return;
      if (!stopping_) changed_.wait_for(lock, kGather, [this] { return stopping_; });
      more_ = false;
      lock.unlock();
      const store::Brought brought = bring_up(&spool, uri_, kPatienceSeconds);
      for (const std::string& refused : brought.refused) {
        // One that the server will not take is told once, not at every try.
        if (refused != told) std::cerr << "sensorcal: not stored: " << refused << std::endl;
        told = refused;
      }
      lock.lock();
      const bool again = !brought.away.empty();
      if (stopping_ && (!again || Clock::now() >= until_) && !more_) return;
      if (!again) continue;
      more_ = true;
      if (stopping_ && Clock::now() >= until_) return;
      changed_.wait_for(lock, kBeforeNextTry, [this, was = stopping_] { return stopping_ != was; });
    }
  } catch (const std::exception& error) {
    std::cerr << "sensorcal: " << error.what() << std::endl;
  }
}

}  // namespace factory::line
