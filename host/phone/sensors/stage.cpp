#include "phone/sensors/stage.h"

#include <host/wall_clock.h>

#include <algorithm>
#include <utility>

namespace phone {
namespace {

constexpr int64_t kNsPerUs = 1000;
// The factory's period for light at a lit panel; see docs/phone-panel.md.
constexpr int64_t kBacklightPeriodNs = 200000000;

int64_t step_ns(const Fault& fault) { return static_cast<int64_t>(fault.amount * 1e9); }

}  // namespace

Stage::Stage(double speed, std::shared_ptr<const Faults> faults, ProfilePtr profile,
             std::vector<std::unique_ptr<Sensor>> sensors)
    : faults_(std::move(faults)), profile_(std::move(profile)), sensors_(std::move(sensors)), clock_(speed) {}

const Sensor* Stage::find_type(int type) const {
  const auto found = std::find_if(sensors_.begin(), sensors_.end(),
                                  [type](const auto& sensor) { return sensor->entry().type == type; });
  return found == sensors_.end() ? nullptr : found->get();
}

Sensor* Stage::find_handle(int handle) {
  const auto found = std::find_if(sensors_.begin(), sensors_.end(),
                                  [handle](const auto& sensor) { return sensor->entry().handle == handle; });
  return found == sensors_.end() ? nullptr : found->get();
}

std::shared_ptr<Delivery> Stage::join(const ::android::sp<IEventQueueCallback>& callback) {
  const Lock lock(mutex_);
  const auto delivery = std::make_shared<Delivery>(callback, next_id_++);
  delivery->stop = closed_;
  if (!closed_) deliveries_.push_back(delivery.get());
  return delivery;
}

void Stage::end_thread(std::thread* thread) {
  if (!thread->joinable()) return;
  if (thread->get_id() == std::this_thread::get_id()) {
    thread->detach();
  } else {
    thread->join();
  }
}

void Stage::leave(const std::shared_ptr<Delivery>& delivery) {
  std::thread thread;
  {
    const Lock lock(mutex_);
    delivery->stop = true;
    std::erase(deliveries_, delivery.get());
    const std::vector<Watcher> watched = std::exchange(delivery->watchers, {});
    for (const Watcher& watcher : watched) adjust(watcher.sensor);
    thread = std::move(delivery->thread);
    delivery->wake.notify_all();
    wake_first();
  }
  end_thread(&thread);
}

void Stage::die() {
  const Lock lock(mutex_);
  closed_ = true;
  for (Delivery* delivery : deliveries_) {
    delivery->stop = true;
    for (const Watcher& watcher : std::exchange(delivery->watchers, {})) watcher.sensor->disable();
  }
}

void Stage::close() {
  std::vector<std::thread> threads;
  {
    const Lock lock(mutex_);
    closed_ = true;
    const Fault* const steps = faults_->find(FaultId::clock_step);
    if (steps != nullptr) host::step_wall_clock(-step_ns(*steps) * std::exchange(clock_steps_, 0));
    for (Delivery* delivery : deliveries_) {
      delivery->stop = true;
      delivery->watchers.clear();
      threads.push_back(std::move(delivery->thread));
      delivery->wake.notify_all();
    }
    deliveries_.clear();
  }
  for (std::thread& thread : threads) end_thread(&thread);
}

void Stage::reboot() {
  const Lock lock(mutex_);
  for (const auto& sensor : sensors_) sensor->reboot();
}

ServiceResult Stage::enable(const std::shared_ptr<Delivery>& delivery, int handle, int period_us) {
  const Lock lock(mutex_);
  if (delivery->stop) return ServiceResult::NO_INIT;
  Sensor* const sensor = find_handle(handle);
  if (sensor == nullptr) return ServiceResult::BAD_VALUE;
  const Fault* const refused = faults_->find(FaultId::enable_refused, sensor->entry().type);
  if (refused != nullptr) return static_cast<ServiceResult>(refused->code);

  const Fault* const steps = faults_->find(FaultId::clock_step);
  if (steps != nullptr && clock_steps_ < steps->code) {
    ++clock_steps_;
    host::step_wall_clock(step_ns(*steps));
  }
  auto watcher = std::find_if(delivery->watchers.begin(), delivery->watchers.end(),
                              [sensor](const Watcher& w) { return w.sensor == sensor; });
  if (watcher == delivery->watchers.end()) watcher = delivery->watchers.insert(watcher, Watcher{});
  const SensorEntry& entry = sensor->entry();
  const int64_t period_ns = std::clamp(period_us, entry.min_period_us, entry.max_period_us) * kNsPerUs;
  const int64_t now_ns = clock_.now_ns();
  *watcher = {.sensor = sensor,
              .period_ns = period_ns,
              .not_before_ns = sensor->has_source() ? now_ns : now_ns + period_ns,
              .next_number = sensor->produced()};
  adjust(sensor);
  sensor->enable(now_ns);
  if (!delivery->thread.joinable()) {
    delivery->thread = std::thread([stage = shared_from_this(), delivery] { stage->run(delivery.get()); });
  }
  wake_all();
  return ServiceResult::OK;
}

ServiceResult Stage::disable(const std::shared_ptr<Delivery>& delivery, int handle) {
  const Lock lock(mutex_);
  if (delivery->stop) return ServiceResult::NO_INIT;
  Sensor* const sensor = find_handle(handle);
  if (sensor == nullptr) return ServiceResult::BAD_VALUE;
  const auto watcher = std::find_if(delivery->watchers.begin(), delivery->watchers.end(),
                                    [sensor](const Watcher& w) { return w.sensor == sensor && !w.leaving; });
  if (watcher == delivery->watchers.end()) return ServiceResult::INVALID_OPERATION;
  if (faults_->find(FaultId::straggler, sensor->entry().type) != nullptr) {
    watcher->leaving = true;
    return ServiceResult::OK;
  }
  delivery->watchers.erase(watcher);
  adjust(sensor);
  wake_all();
  return ServiceResult::OK;
}

// Sets the sensor to what its watchers ask for together, or off.
void Stage::adjust(Sensor* sensor) {
  int64_t period_ns = kNever;
  bool backlight = false;
  for (const Delivery* delivery : deliveries_) {
    for (const Watcher& watcher : delivery->watchers) {
      if (watcher.sensor != sensor) continue;
      period_ns = std::min(period_ns, watcher.period_ns);
      backlight |= watcher.period_ns == kBacklightPeriodNs;
    }
  }
  if (period_ns == kNever) {
    sensor->disable();
  } else {
    sensor->set_rate(period_ns, backlight);
  }
}

void Stage::run(Delivery* delivery) {
  SensorEvent event;
  int times = 0;
  Lock lock(mutex_);
  while (take_event(&lock, delivery, &event, &times)) {
    lock.unlock();
    for (int i = 0; i < times; ++i) (void)delivery->callback->onEvent(event).isOk();
    lock.lock();
    delivery->delivering_ns = kNever;
    wake_first();
  }
}

// Waits for the queue's next event. False: the queue is to stop.
bool Stage::take_event(Lock* lock, Delivery* delivery, SensorEvent* event, int* times) {
  while (!delivery->stop) {
    int64_t due_ns = kNever;
    Watcher* const watcher = first_watcher(delivery, &due_ns);
    if (!may_deliver(lock, delivery, due_ns)) continue;
    if (deliver_from(delivery, watcher, due_ns, event, times)) return true;
  }
  return false;
}

Watcher* Stage::first_watcher(Delivery* delivery, int64_t* due_ns) {
  Watcher* first = nullptr;
  for (Watcher& watcher : delivery->watchers) {
    const int64_t due = watcher.sensor->due_ns(watcher.next_number, watcher.not_before_ns);
    if (due >= *due_ns) continue;
    *due_ns = due;
    first = &watcher;
  }
  return first;
}

// True: the queue's next event may go out now. False: something may have changed meanwhile.
bool Stage::may_deliver(Lock* lock, Delivery* delivery, int64_t due_ns) {
  if (due_ns == kNever) {
    delivery->wake.wait(*lock);
    return false;
  }
  if (clock_.unlimited()) {
    if (comes_first(*delivery, due_ns)) return true;
    delivery->wake.wait(*lock);
    return false;
  }
  if (due_ns <= clock_.now_ns()) return true;
  delivery->wake.wait_until(*lock, clock_.real(due_ns));
  return false;
}

// Takes the event out of the watcher's sensor. False: there was none after all, as with a sensor that only reports
// changes.
bool Stage::deliver_from(Delivery* delivery, Watcher* watcher, int64_t due_ns, SensorEvent* event, int* times) {
  Sensor* const sensor = watcher->sensor;
  clock_.advance_to(due_ns);
  sensor->run_to(due_ns);
  const SensorEvent* const found = sensor->find(&watcher->next_number, watcher->not_before_ns);
  if (found == nullptr) {
    wake_first();
    return false;
  }
  *event = *found;
  *times = faults_->find(FaultId::duplicate, sensor->entry().type) != nullptr ? 2 : 1;
  // A recording's samples all pass, whatever their distance.
  watcher->not_before_ns = sensor->has_source() ? event->timestamp : event->timestamp + watcher->period_ns;
  delivery->delivering_ns = due_ns;
  if (watcher->leaving) {
    std::erase_if(delivery->watchers, [sensor](const Watcher& w) { return w.sensor == sensor; });
    adjust(sensor);
  }
  return true;
}

int64_t Stage::front_ns(const Delivery& delivery) const {
  if (delivery.delivering_ns != kNever) return delivery.delivering_ns;
  int64_t front = kNever;
  for (const Watcher& watcher : delivery.watchers) {
    front = std::min(front, watcher.sensor->due_ns(watcher.next_number, watcher.not_before_ns));
  }
  return front;
}

bool Stage::comes_first(const Delivery& delivery, int64_t due_ns) const {
  for (const Delivery* other : deliveries_) {
    if (other == &delivery) continue;
    const int64_t front = front_ns(*other);
    if (front < due_ns || (front == due_ns && other->id < delivery.id)) return false;
  }
  return true;
}

// At unlimited speed: the queue whose turn it is may be waiting for it.
void Stage::wake_first() {
  if (!clock_.unlimited() || deliveries_.size() < 2) return;
  Delivery* first = nullptr;
  int64_t first_ns = kNever;
  for (Delivery* delivery : deliveries_) {
    const int64_t front = front_ns(*delivery);
    if (front >= first_ns) continue;
    first_ns = front;
    first = delivery;
  }
  if (first != nullptr) first->wake.notify_all();
}

void Stage::wake_all() {
  for (Delivery* delivery : deliveries_) delivery->wake.notify_all();
}

}  // namespace phone
