// Writes the tape of a run. It also keeps order where the outcome would depend on which thread is faster, since that
// cannot be written down: a client's acts wait for a delivery under way, and a delivery waits for a client that was
// just woken. Both waits are bounded; a real phone's timing is not changed by more than a few milliseconds.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "simulator/device_files.h"
#include "simulator/tape.h"

namespace factory::tape {

class Recorder : public Deck {
 public:
  // On the running thread. Throws AppError.
  Recorder(std::string folder, const std::string& device_root);
  ~Recorder() override;

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
  bool inside_call() const override;
  void event_begins(int queue, const SensorEvent& event) override;
  void event_ends(int queue) override;
  void queue_opens(int /*queue*/, const ::android::sp<IEventQueueCallback>& /*callback*/) override {}
  void queue_closes(int queue) override;

 private:
  using Lock = std::unique_lock<std::mutex>;
  using Clock = std::chrono::steady_clock;

  std::string who() const;
  // With mutex_ held:
  void write(const std::string& by, const std::string& what, const Json::Value& with = Json::nullValue);
  void client_acts(Lock* lock, std::chrono::milliseconds patience);
  void client_acted();

  void note(const std::string& what, const Json::Value& with = Json::nullValue);
  void before_open();

  const std::string folder_;
  const std::thread::id running_;
  DeviceFiles files_;
  std::function<void()> phone_;  // is called before a device's file is opened

  std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by mutex_:
  int fd_ = -1;
  bool over_ = false;
  int deliveries_ = 0;       // under way
  int clients_ = 0;          // about to act
  int calls_ = 0;            // of the running thread, under way
  bool roused_ = false;      // a client was woken and has not acted since
  Clock::time_point acted_;  // by the running thread
  long long looks_ = 0;
  bool found_ = false;  // Ctrl-C, by a look
};

}  // namespace factory::tape
