// What a recorded or replayed run sees in place of the phone's services, its files and the fixture around it: every
// question goes through the trace. Without a real service behind them the answers are the recorded ones.
#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <utils/StrongPointer.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "phone/fixture.h"
#include "simulator/device_files.h"
#include "simulator/trace.h"

namespace factory::trace {

// The messages of a hub call as the fixture tells of them.
class HubMessages {
 public:
  void listen(std::function<void(const HubMessage&)> listener);
  void tell(const HubMessage& message);
  // Tells of a message while its call is under way, and keeps it for the trace.
  void take(const HubMessage& message);
  static Json::Value taken();  // on the thread that called take()

 private:
  std::mutex mutex_;
  std::function<void(const HubMessage&)> listener_;  // guarded by mutex_
};

// Stands before the fixture of a phone and before the services that are looked up while it lives.
class TracedFixture : public Fixture {
 public:
  // `real` is null in a replay.
  TracedFixture(std::unique_ptr<Trace> trace, std::unique_ptr<Fixture> real, std::string root);
  ~TracedFixture() override;

  std::string device_root() const override { return root_; }
  std::vector<std::pair<std::string, std::string>> facts() const override;
  std::vector<std::string> remarks() const override;
  std::map<std::string, std::string> world() const override;
  std::string set_world(const std::string& key, const std::string& value) override;
  bool asks_operator() const override;
  Arranged arrange(const Settings& settings) override;
  void on_hub_message(std::function<void(const HubMessage&)> listener) override;

  void run_begins(const RunHead& head) override { trace_->run_begins(head); }
  void attempt_begins(int step, int attempt, const std::string& name) override {
    trace_->attempt_begins(step, attempt, name);
  }
  void run_ends(const record::Run& record) override { trace_->run_ends(record); }
  int64_t time_ns(int64_t measured) override;
  void interrupted() override { trace_->interrupted(); }

 private:
  using Service = ::android::sp<::android::hidl::base::V1_0::IBase>;

  Service find(const std::string& descriptor, const Service& found);
  void before_open();

  const std::unique_ptr<Trace> trace_;
  const std::unique_ptr<Fixture> real_;
  const std::string root_;
  std::function<void()> phone_;  // brings the phone's files up to date
  HubMessages messages_;
  std::mutex mutex_;
  DeviceFiles files_;  // guarded by mutex_
  // By what is asked for and the real service, or null; guarded by mutex_.
  std::map<std::pair<std::string, const void*>, Service> interceptors_;
};

}  // namespace factory::trace
