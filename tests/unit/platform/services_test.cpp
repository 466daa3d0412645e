// Looking up services: who waits, and until when.
#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <gtest/gtest.h>
#include <host/service_registry.h>

#include <future>

#include "fake_hub.h"
#include "fake_sensors.h"

namespace {

using ::android::sp;
using test::FakeSensors;
using test::ISensorManager;

constexpr char kInstance[] = "default";

auto waiting_client() {
  return std::async(std::launch::async, [] { return ISensorManager::getService(kInstance); });
}

bool still_waits(const std::future<sp<ISensorManager>>& client) {
  return client.wait_for(std::chrono::milliseconds(20)) == std::future_status::timeout;
}

class PlatformServices : public ::testing::Test {
 protected:
  static void declare(bool declared) { host::declare_service(ISensorManager::descriptor, kInstance, declared); }
  ~PlatformServices() override {
    FakeSensors::remove();
    declare(false);
  }
};

TEST_F(PlatformServices, OneThatIsNotDeclaredIsNotWaitedFor) {
  EXPECT_EQ(ISensorManager::getService(kInstance), nullptr);
  EXPECT_EQ(ISensorManager::getService(true), nullptr);
  EXPECT_EQ(ISensorManager::tryGetService(kInstance), nullptr);
}

TEST_F(PlatformServices, OneThatIsDeclaredIsWaitedFor) {
  declare(true);
  EXPECT_EQ(ISensorManager::tryGetService(kInstance), nullptr);
  auto client = waiting_client();
  EXPECT_TRUE(still_waits(client));
  const sp<FakeSensors> other = new FakeSensors;
  EXPECT_EQ(other->registerAsService("another"), ::android::OK);
  EXPECT_TRUE(still_waits(client));
  const sp<FakeSensors> sensors = FakeSensors::install({});
  EXPECT_EQ(client.get(), sensors);
  EXPECT_EQ(ISensorManager::tryGetService(kInstance), sensors);
  EXPECT_TRUE(host::remove_service(ISensorManager::descriptor, "another"));
}

TEST_F(PlatformServices, OneThatDiesIsWaitedForWhileItIsDeclared) {
  declare(true);
  const sp<FakeSensors> sensors = FakeSensors::install({});
  EXPECT_EQ(ISensorManager::getService(kInstance), sensors);
  EXPECT_TRUE(host::remove_service(ISensorManager::descriptor, kInstance));
  EXPECT_FALSE(host::remove_service(ISensorManager::descriptor, kInstance));
  auto client = waiting_client();
  EXPECT_TRUE(still_waits(client));
  declare(false);
  EXPECT_EQ(client.get(), nullptr);
}

// A replay answers look-ups by itself: it is asked once, with what there is in the end.
TEST_F(PlatformServices, WhoStandsBetweenIsAskedAfterTheWait) {
  declare(true);
  std::atomic<int> asked{0};
  host::on_find_service([&](const std::string&, const host::Service& found) {
    ++asked;
    return found;
  });
  auto client = waiting_client();
  EXPECT_TRUE(still_waits(client));
  EXPECT_EQ(asked, 0);
  const sp<FakeSensors> sensors = FakeSensors::install({});
  EXPECT_EQ(client.get(), sensors);
  EXPECT_EQ(asked, 1);
  host::on_find_service({});
}

TEST_F(PlatformServices, AnInterfaceAnswersForItself) {
  const sp<FakeSensors> sensors = FakeSensors::install({});
  std::vector<std::string> chain;
  EXPECT_TRUE(sensors->interfaceChain([&](const auto& names) { chain.assign(names.begin(), names.end()); }).isOk());
  EXPECT_EQ(chain, (std::vector<std::string>{"android.frameworks.sensorservice@1.0::ISensorManager",
                                             "android.hidl.base@1.0::IBase"}));
  EXPECT_TRUE(sensors->ping().isOk());
  EXPECT_FALSE(sensors->linkToDeath(nullptr, 0).withDefault(true));
  EXPECT_FALSE(sensors->isRemote());
}

}  // namespace
