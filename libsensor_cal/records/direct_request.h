// Requests that go to the test service itself, past the command API.
#pragma once

#include <utils/RefBase.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

// Sends sensor_type 0, msg_type 0 and the words {1, `command`, `argument`}, and returns the first word of the answer;
// without an answer that is the request's own 1. `service` must not be null.
float direct_request(
    const ::android::sp<::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService>& service, float command,
    float argument);
