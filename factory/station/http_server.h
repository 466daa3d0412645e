// A web server that nobody can stop by connecting and saying nothing, or half of a request, or that a byte at a time.
#pragma once

#include <httplib.h>

#include <chrono>
#include <map>
#include <mutex>

namespace factory::station {

/**
 * A connection is heard when its request is there; each has one request. Of connections that are not heard yet there
 * are kUnheardMax: one more, and the oldest is left. So one that says what it wants is answered at once, whatever the
 * others do, which are left after kSlow all the same.
 *
 * Threads: one that accepts, and the pool's, each with one connection; they meet under the mutex.
 */
class HttpServer : public httplib::Server {
 public:
  // `answering`: so many requests at once.
  explicit HttpServer(size_t answering);

  // By a handler: the request of this thread's connection is there. False: it was left before, and whoever asked knows
  // nothing of it.
  bool heard();

 private:
  class Threads;
  using Clock = std::chrono::steady_clock;

  bool process_and_close_socket(socket_t socket) override;
  // For `coming` new ones.
  void make_room(size_t coming);
  void leave_all();

  std::mutex mutex_;
  bool leaves_ = false;
  size_t queued_ = 0;                                   // accepted, and on no thread yet
  std::multimap<Clock::time_point, socket_t> unheard_;  // by when they came
};

}  // namespace factory::station
