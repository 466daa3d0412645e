#include "phone/hub_watch.h"

#include "phone/options.h"

namespace factory {
namespace {

std::string hub_problem(Session& session) {
  if (!session.test_service_there()) return "the sensor test service is gone";
  // A call that never answers leaves all zeros behind, its own type and code included.
  _ssc_oem_test_msg message{};
  message.sensor_type = sensor_type::accelerometer;
  message.msg_type = oem_test_msg::get_accelerometer_offset;
  session.cal().cal_api->send_ssc_oem_test_msg(&message);
  return message.sensor_type == 0 && message.msg_type == 0 ? "the sensor hub does not answer" : "";
}

}  // namespace

HubWatch::HubWatch(Session& session)
    : session_(session), operation_(session.watchdog()), lost_(session.lost_messages()), first_(hub_problem(session)) {}

std::string HubWatch::problem() { return first_.empty() ? problem(session_, lost_) : first_; }

std::string HubWatch::problem(Session& session, int lost_before) {
  const Watchdog::Operation operation(session.watchdog());
  const int lost = session.lost_messages() - lost_before;
  const std::string now = hub_problem(session);
  if (!now.empty() || lost == 0) return now;
  return "the sensor hub did not answer " + std::to_string(lost) + (lost == 1 ? " message" : " messages");
}

void HubWatch::require(const std::string& unknown) {
  const std::string what = problem();
  if (!what.empty()) throw AppError(kUnreachable, what + ": " + unknown + "; " + kLookAtServices);
}

}  // namespace factory
