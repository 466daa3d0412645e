// What makes one run differ from another besides the phone: when something happens, and in which order threads come to
// it. A live run goes straight through; a recording notes it, and a replay repeats it.
#pragma once

#include <json/json.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

namespace factory {

// Any thread may call. "The running thread" is the one that opened the session; all but the delivering threads count
// as the watcher of interruptions.
class Chronicle {
 public:
  enum class WaitEnd { going_on, complete, timed_out, interrupted };

  virtual ~Chronicle() = default;
  static Chronicle& live();

  // A time that gets into the record or is judged. Returns the one to use.
  virtual int64_t time_ns(int64_t measured) { return measured; }

  // The running thread looks whether Ctrl-C came.
  virtual bool look(bool interrupted) { return interrupted; }

  // A wait for samples is over, or is not, as `seen` says; to be asked again while the answer is "going_on". At its end
  // `close` is called, while nothing is being delivered: from then on the waiting side takes no more samples.
  virtual WaitEnd end_wait(WaitEnd seen, const std::function<void()>& close) {
    if (seen != WaitEnd::going_on) close();
    return seen;
  }

  // Ctrl-C came. False: it is nothing to the run.
  virtual bool interrupt() { return true; }
  // Wakes whoever waits in the library.
  virtual void wake(pthread_mutex_t* mutex, pthread_cond_t* condition) {
    pthread_mutex_lock(mutex);
    pthread_cond_broadcast(condition);
    pthread_mutex_unlock(mutex);
  }
  // Claims the end of a run; true for the first one.
  virtual bool claim(std::atomic<bool>* claimed) { return !claimed->exchange(true); }

  // Around everything that changes or reads the kept log lines.
  virtual void line_begins() {}
  virtual void line_ends() {}

  // The run is over, and this is its record: nothing that follows belongs to it.
  virtual void end(const Json::Value& /*record*/) {}
};

// Whether Ctrl-C came, as the running thread gets to see it.
class Interruption {
 public:
  explicit Interruption(const std::atomic<bool>& came) : came_(came) {}
  void keep(Chronicle* chronicle) { chronicle_ = chronicle; }

  operator bool() const { return chronicle_->look(came_); }  // NOLINT(google-explicit-constructor): reads as a flag
  // For a loop that waits: how often it looks is chance. Its end goes by the chronicle's end_wait().
  bool came() const { return came_; }
  Chronicle& chronicle() const { return *chronicle_; }

 private:
  const std::atomic<bool>& came_;
  Chronicle* chronicle_ = &Chronicle::live();
};

}  // namespace factory
