#include "records/direct_request.h"

#include <OemTestMsg.h>
#include <string.h>

using ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;

float direct_request(const ::android::sp<IKestSensorService>& service, float command, float argument) {
  _ssc_oem_test_msg record{};
  record.offset[0] = 1;
  record.offset[1] = command;
  record.offset[2] = argument;
  ssc_oem_test_msg request;
  memcpy(&request, &record, sizeof request);
  const auto sent = service->send_ssc_oem_test_msg(
      request, [&record](const ssc_oem_test_msg& reply) { memcpy(&record, &reply, sizeof record); });
  (void)sent.isOk();  // deliberately no error: the record then still holds the request
  return record.offset[0];
}
