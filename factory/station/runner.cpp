#include "station/runner.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

#include "files/app_error.h"
#include "files/numbers.h"
#include "station/child.h"

namespace factory::station {

Runner::Runner(std::function<bool(const std::string&)> on_line, std::function<void(const RunnerEnd&)> on_end)
    : on_line_(std::move(on_line)), on_end_(std::move(on_end)), wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  thread_ = std::thread([this] { work(); });
}

Runner::~Runner() {
  leave();
  close(wake_);
}

void Runner::leave() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = leaves_ = true;
  }
  wake();
  if (thread_.joinable()) thread_.join();
}

void Runner::wake() {
  changed_.notify_all();
  (void)eventfd_write(wake_, 1);
}

void Runner::start(Order order) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    unsaid_ = order.first_line + "\n";
    order_ = std::move(order);
    stopped_ = leaves_;
    patient_ = false;
  }
  wake();
}

void Runner::say(const std::string& line) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    unsaid_ += line + "\n";
  }
  wake();
}

void Runner::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
  }
  wake();
}

void Runner::patient(bool is) {
  const std::lock_guard<std::mutex> lock(mutex_);
  patient_ = is;
}

void Runner::work() {
  for (;;) {
    std::optional<Order> order;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [this] { return order_ || leaves_; });
      if (!order_) return;
      order = std::exchange(order_, std::nullopt);
    }
    run(*order);
  }
}

void Runner::run(const Order& order) {
  RunnerEnd end;
  try {
    if (order.before) order.before();
    Child child(order);
    std::string unsaid;
    bool more = true;
    while (more) {
      bool stopped = false;
      eventfd_t ignored = 0;
      (void)eventfd_read(wake_, &ignored);
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        unsaid += std::exchange(unsaid_, "");
        stopped = stopped_;
        if (patient_) child.forgive_silence();
      }
      if (stopped) child.end({});
      if (!child.ending() && child.silent_for() > order.silence)
        child.end({"runner-silent",
                   {plain(order.silence.count())},
                   "it said nothing for " + plain(order.silence.count()) + " s"});
      more = child.exchange(wake_, &unsaid, on_line_);
    }
    end = child.ended();
  } catch (const AppError& error) {
    end.why = {"runner-missing", {order.command.front()}, error.what()};
  }
  on_end_(end);
}

}  // namespace factory::station
