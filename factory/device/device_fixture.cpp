// The fixture of a real phone, on which the application runs: the phone's own services, and people around it. What a
// program cannot learn there it does not tell: no message that it did not send.
#include <hidl/HidlTransportSupport.h>

#include <mutex>

#include "phone/fixture.h"
#include "phone/fixture_settings.h"
#include "phone/services.h"

namespace factory {
namespace {

// What a record tells of the phone; a property that it has not is left out.
constexpr struct {
  const char* fact;
  const char* property;
} kFacts[] = {
    {"serial", "ro.serialno"},   {"manufacturer", "ro.product.manufacturer"}, {"model", "ro.product.model"},
    {"hardware", "ro.hardware"}, {"build", "ro.build.fingerprint"},
};

class DeviceFixture : public Fixture {
 public:
  std::string device_root() const override { return "/"; }

  std::vector<std::pair<std::string, std::string>> facts() const override {
    std::vector<std::pair<std::string, std::string>> out;
    for (const auto& [fact, property] : kFacts) {
      const std::string value = factory::property(property);
      if (!value.empty()) out.emplace_back(fact, value);
    }
    return out;
  }

  std::vector<std::string> remarks() const override {
    return {"the messages to the sensor hub are not recorded: on a phone nobody can listen to them"};
  }

  std::map<std::string, std::string> world() const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return told_;
  }

  std::string set_world(const std::string& key, const std::string& value) override {
    std::string setting;
    std::string problem = read_setting(key, value, Bare::taken, &setting);
    if (!problem.empty()) return problem;
    const std::lock_guard<std::mutex> lock(mutex_);
    told_[key] = setting;
    return "";
  }

  void on_hub_message(std::function<void(const HubMessage&)> /*listener*/) override {}

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::string> told_;  // as people say it is; guarded by mutex_
};

}  // namespace

bool phones_are_simulated() { return false; }

std::unique_ptr<Fixture> open_fixture(const Options& /*options*/) {
  // Without threads of its own the process gets no events.
  ::android::hardware::configureRpcThreadpool(1, false);
  return std::make_unique<DeviceFixture>();
}

std::unique_ptr<Fixture> record_fixture(std::unique_ptr<Fixture> phone, const Options& /*options*/) { return phone; }

}  // namespace factory
