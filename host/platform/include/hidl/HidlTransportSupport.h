// Stand-in for libhidlbase's <hidl/HidlTransportSupport.h>: the threads on which the calls of other processes arrive.
#pragma once

#include <stddef.h>

namespace android {
namespace hardware {

// On a phone: starts up to `maxThreads` threads that take calls, the caller's own among them when it will join. Without
// it no event arrives. Here events arrive on the threads of the event queues, and only the number is noted.
void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);

}  // namespace hardware
}  // namespace android
