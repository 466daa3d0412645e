// What the process asked of HIDL's thread pool.
#pragma once

#include <stddef.h>

namespace host {

// How many threads take calls without the caller's help; 0 until configureRpcThreadpool() was called.
size_t rpc_threads();

}  // namespace host
