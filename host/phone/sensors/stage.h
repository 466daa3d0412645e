// Where sensors and event queues meet: one lock, one clock, and the order in which queues deliver.
#pragma once

#include <android/frameworks/sensorservice/1.0/IEventQueueCallback.h>
#include <android/frameworks/sensorservice/1.0/types.h>
#include <utils/StrongPointer.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "phone/sensors/clock.h"
#include "phone/sensors/sensor.h"

namespace phone {

using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ServiceResult = ::android::frameworks::sensorservice::V1_0::Result;

// A queue's side of a sensor.
struct Watcher {
  Sensor* sensor = nullptr;
  int64_t period_ns = 0;
  int64_t not_before_ns = 0;  // of the next sample to deliver
  uint64_t next_number = 0;   // of the sensor's samples
  bool leaving = false;       // one more event, then gone: a fault
};

// What an event queue and its delivery thread share. The thread may outlive the queue by the end of one delivery.
struct Delivery {
  Delivery(const ::android::sp<IEventQueueCallback>& its_callback, uint64_t its_id)
      : callback(its_callback), id(its_id) {}

  const ::android::sp<IEventQueueCallback> callback;
  const uint64_t id;
  std::condition_variable wake;
  // Guarded by the stage's mutex:
  std::vector<Watcher> watchers;
  int64_t delivering_ns = kNever;  // due time of the event that is with the callback now
  bool stop = false;
  std::thread thread;  // started with the first enabling
};

// Any thread may call, with any lock of the application's held: nothing here waits for a callback, but close() and
// leave(), which join delivery threads. The callbacks are called with no lock held.
//
// At unlimited speed the queues deliver one event at a time, in the order of phone time; a single queue goes on without
// handing over to another thread. At finite speeds each delivers when its time has come.
class Stage : public std::enable_shared_from_this<Stage> {
 public:
  // Keeps faults and profile alive for the sensors.
  Stage(double speed, std::shared_ptr<const Faults> faults, ProfilePtr profile,
        std::vector<std::unique_ptr<Sensor>> sensors);

  std::shared_ptr<Delivery> join(const ::android::sp<IEventQueueCallback>& callback);
  // The queue is gone: ends its thread, or lets go of it when called from it.
  void leave(const std::shared_ptr<Delivery>& delivery);
  // The service is dead: nothing is delivered any more, and nothing waited for.
  void die();
  // The phone is gone: ends all deliveries. Queues that still live are dead from now on.
  void close();

  ServiceResult enable(const std::shared_ptr<Delivery>& delivery, int handle, int period_us);
  ServiceResult disable(const std::shared_ptr<Delivery>& delivery, int handle);

  void reboot();
  // Null where the phone has none. What is constant in a sensor may be read by any thread.
  const Sensor* find_type(int type) const;

 private:
  using Lock = std::unique_lock<std::mutex>;

  void run(Delivery* delivery);
  bool take_event(Lock* lock, Delivery* delivery, SensorEvent* event, int* times);
  bool may_deliver(Lock* lock, Delivery* delivery, int64_t due_ns);
  Watcher* first_watcher(Delivery* delivery, int64_t* due_ns);
  bool deliver_from(Delivery* delivery, Watcher* watcher, int64_t due_ns, SensorEvent* event, int* times);
  // With mutex_ held:
  Sensor* find_handle(int handle);
  int64_t front_ns(const Delivery& delivery) const;
  bool comes_first(const Delivery& delivery, int64_t due_ns) const;
  void wake_first();
  void wake_all();
  void adjust(Sensor* sensor);
  static void end_thread(std::thread* thread);

  const std::shared_ptr<const Faults> faults_;
  const ProfilePtr profile_;
  const std::vector<std::unique_ptr<Sensor>> sensors_;  // what they point to is guarded by mutex_

  std::mutex mutex_;
  Clock clock_;                        // guarded by mutex_
  std::vector<Delivery*> deliveries_;  // guarded by mutex_
  uint64_t next_id_ = 0;               // guarded by mutex_
  bool closed_ = false;                // guarded by mutex_
  int clock_steps_ = 0;                // made so far, by a fault; guarded by mutex_
};

}  // namespace phone
