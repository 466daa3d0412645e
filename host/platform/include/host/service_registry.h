// The in-process list of services behind every getService() and registerAsService(). Host only: a phone has a service
// manager for this. Any thread may call; a service taken out lives on as long as somebody holds it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <android/hidl/base/1.0/IBase.h>
#include <utils/StrongPointer.h>

namespace host {

using Service = ::android::sp<::android::hidl::base::V1_0::IBase>;

// Makes `service`, which is one of the interface that `descriptor` names, known as `descriptor`/`instance`; replaces
// what was there.
void add_service(std::string_view descriptor, std::string_view instance, const Service& service);

// Null when there is none. Does not wait.
Service find_service(std::string_view descriptor, std::string_view instance);

// Whether the phone's manifest lists the service: getService() waits until one that is listed is there, or is listed no
// more.
void declare_service(std::string_view descriptor, std::string_view instance, bool declared);

// Stands between every look-up and its answer: is given what is there, and what it returns is found. Empty: nobody. Not
// to be changed while other threads look up.
using Finder = std::function<Service(const std::string& descriptor, const Service& found)>;
void on_find_service(Finder finder);

// Returns whether there was one.
bool remove_service(std::string_view descriptor, std::string_view instance);

}  // namespace host
