// Plays a tape: every act of the run waits for its turn and gets the recorded answer, and what comes from outside
// (events, Ctrl-C) comes when it did. A run that does something else ends the process with kDiffers.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "simulator/device_files.h"
#include "simulator/tape.h"

namespace factory::tape {

class Player : public Deck {
 public:
  // On the running thread; takes the process's device root and properties. Throws AppError.
  explicit Player(const std::string& folder);
  ~Player() override;

  const std::string& device_root() const { return scratch_.path(); }

  int64_t time_ns(int64_t measured) override;
  bool look(bool interrupted) override;
  WaitEnd end_wait(WaitEnd seen, const std::function<void()>& close) override;
  bool interrupt() override;
  void wake(pthread_mutex_t* mutex, pthread_cond_t* condition) override;
  bool claim(std::atomic<bool>* claimed) override;
  void line_begins() override;
  void line_ends() override;
  void end(const Json::Value& record) override;

  Json::Value call(const char* name, const Json::Value& request, const std::function<Json::Value()>& real) override;
  bool inside_call() const override { return false; }
  void event_begins(int /*queue*/, const SensorEvent& /*event*/) override {}  // there are no real ones
  void event_ends(int /*queue*/) override {}
  void queue_opens(int queue, const ::android::sp<IEventQueueCallback>& callback) override;
  void queue_closes(int queue) override;

 private:
  using Lock = std::unique_lock<std::mutex>;
  using Clock = std::chrono::steady_clock;

  struct Queue {
    bool closed = false;
    std::thread thread;
  };

  std::string who() const;
  // With mutex_ held:
  const Entry* current() const;  // null at the end
  const Entry* next_of(const std::string& who) const;
  // Waits for this thread's turn, which is to be `what`. Null: the run is over. Does not come back where the recorded
  // process ended while this thread was busy.
  const Entry* turn(Lock* lock, const std::string& what, const Json::Value* with = nullptr);
  void wait_for_turn(Lock* lock, size_t position);
  void pass();
  bool may_deliver(Lock* lock);
  [[noreturn]] void fail(const std::string& text);
  [[noreturn]] void fail_at(const Entry& expected, const std::string& what, const Json::Value* with);

  const Entry* take(const std::string& what, const Json::Value* with = nullptr);
  void deliver(int queue, const ::android::sp<IEventQueueCallback>& callback);
  void play_signals();
  void rouse(Lock* lock);
  void before_open();

  const std::string folder_;
  const Tape tape_;
  const std::thread::id running_;
  ScratchRoot scratch_;
  DeviceFiles files_;

  std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by mutex_:
  size_t position_ = 0;
  std::map<std::string, std::deque<size_t>> ahead_;  // positions, by who acts
  std::map<int, Queue> queues_;
  pthread_mutex_t* library_mutex_ = nullptr;
  pthread_cond_t* library_condition_ = nullptr;
  bool waits_ = false;   // the running thread, for its turn
  bool roused_ = false;  // it was woken, and has not come to its next act
  Clock::time_point roused_at_;
  Clock::time_point acted_;
  Clock::time_point moved_;
  long long looks_ = 0;
  bool found_ = false;
  bool interrupted_ = false;  // as recorded, and not yet taken notice of
  bool over_ = false;
  bool closing_ = false;

  std::thread signals_;
};

}  // namespace factory::tape
