#include <hidl/HidlTransportSupport.h>
#include <host/rpc_threadpool.h>

#include <atomic>

namespace {

std::atomic<size_t> g_threads{0};

}  // namespace

namespace android {
namespace hardware {

void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin) {
  g_threads = callerWillJoin && maxThreads > 0 ? maxThreads - 1 : maxThreads;
}

}  // namespace hardware
}  // namespace android

namespace host {

size_t rpc_threads() { return g_threads; }

}  // namespace host
