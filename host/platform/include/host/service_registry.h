// The in-process list of services behind every getService() and registerAsService(). Host only: a phone has a service
// manager for this. Any thread may call; a service taken out lives on as long as somebody holds it.
#pragma once

#include <string>

#include <android/hidl/base/1.0/IBase.h>
#include <utils/StrongPointer.h>

namespace host {

using Service = ::android::sp<::android::hidl::base::V1_0::IBase>;

// Makes `service` known as `descriptor`/`instance`; replaces what was there.
void add_service(const std::string& descriptor, const std::string& instance, const Service& service);

// Null when there is none.
Service find_service(const std::string& descriptor, const std::string& instance);

// Returns whether there was one.
bool remove_service(const std::string& descriptor, const std::string& instance);

}  // namespace host
