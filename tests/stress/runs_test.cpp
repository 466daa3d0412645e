// Back-to-back runs among other clients: each takes exactly the events that it was given, and its means are theirs.
#include "load.h"
#include "whole_phone.h"

namespace stress {
namespace {

using phone_test::Client;
using phone_test::Event;
using phone_test::sp;
using scenario::kAcc;
using scenario::kGyr2;
using scenario::WholePhone;

// Keeps what the library gets from now on.
sp<phone_test::Listener> listen_before(SensorCalibration& cal) {
  const sp<phone_test::Listener> listener = new phone_test::Listener;
  const sp<phone_test::IEventQueueCallback> library = msensorEventCallback;
  listener->on_each = [library](const Event& event) { (void)library->onEvent(event).isOk(); };
  cal.event_queue = nullptr;
  cal.sensor_manager->createEventQueue(listener, [&](const auto& queue, auto) { cal.event_queue = queue; });
  return listener;
}

// The mean as the library has it: single precision, the offset in force added, gravity taken.
void expect_means(const _sensor_info& record, const std::vector<Event>& events, float gravity) {
  const size_t settling = static_cast<size_t>(record.skip_num);
  for (size_t axis = 0; axis < 3; ++axis) {
    float sum = 0;
    for (size_t i = settling; i < events.size(); ++i) {
      float sample = events[i].u.data[axis] + record.offset[axis];
      if (axis == 2) sample += gravity;
      sum += sample;
    }
    EXPECT_EQ(record.mean[axis], sum / static_cast<float>(record.sample_num)) << "axis " << axis;
  }
}

TEST(StressRuns, MeansAreThoseOfTheEventsDelivered) {
  const QuietLog quiet;
  WholePhone whole;
  SensorCalibration& cal = *whole.cal;
  const sp<phone_test::Listener> listener = listen_before(cal);
  std::vector<std::unique_ptr<Client>> beside;
  for (int i = 0; i < 3; ++i) beside.push_back(std::make_unique<Client>());
  constexpr size_t kEvents = 53;
  for (size_t run = 0; run < load(1000000) / kEvents; ++run) {
    if (run % 50 == 0) {  // before they fall silent
      for (const auto& client : beside) {
        client->enable(kAcc.type, 20000);
        client->listener->forget();
      }
    }
    const bool gyroscope = run % 4 == 3;
    listener->forget();
    ASSERT_EQ(cal.sensor_calibrate(gyroscope ? kGyr2.type : kAcc.type, 0), 0) << "run " << run;
    const std::vector<Event> events = listener->wait_for(kEvents);
    ASSERT_EQ(events.size(), kEvents) << "run " << run;
    const _sensor_info& record = cal.motion_info[gyroscope ? 7 : 0];
    ASSERT_EQ(record.event_count, static_cast<int>(kEvents));
    expect_means(record, events, gyroscope ? 0.0F : -9.80665F);
    ASSERT_FALSE(::testing::Test::HasFailure()) << "run " << run;
    ASSERT_EQ(listener->events().size(), kEvents) << "after run " << run;
  }
}

}  // namespace
}  // namespace stress
