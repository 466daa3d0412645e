// Whether the phone's services are there. Asked before the library is: on a phone its look-up of a service that is
// listed but does not run waits for ever.
#pragma once

#include <chrono>

namespace factory {

// Wait for it as long as `patience`; any thread.
bool sensor_service_answers(std::chrono::milliseconds patience);
bool test_service_answers(std::chrono::milliseconds patience);

}  // namespace factory
