// The properties of a phone directory: whatever build.prop and the state file hold, reads keep Android's limits, and
// what was set is there again when the directory is opened anew and, where it is "persist.", after a reboot.
#include <cutils/properties.h>
#include <host/property_store.h>
#include <unistd.h>

#include <map>

#include "support/checks.h"
#include "support/device_files.h"

namespace {

std::string get(const std::string& key) {
  char value[PROPERTY_VALUE_MAX];
  const int length = property_get(key.c_str(), value, "");
  HOLDS(length >= 0 && length < PROPERTY_VALUE_MAX && length == static_cast<int>(strlen(value)));
  return value;
}

std::string any_key(FuzzedDataProvider* in) {
  return in->ConsumeBool() ? in->PickValueInArray({"ro.build.product", "persist.a", "sys.b", "ro.new"})
                           : in->ConsumeRandomLengthString(12);
}

void set_one(FuzzedDataProvider* in) {
  const std::string key = any_key(in);
  const std::string value = in->ConsumeRandomLengthString(100);
  const std::string text = value.c_str();  // a C text ends at its first NUL
  const std::string before = get(key);
  const int result = property_set(key.c_str(), value.c_str());
  HOLDS(result == 0 || result == -1);
  HOLDS(get(key) == (result == 0 ? text : before));
  if (result != 0) return;
  const std::map<std::string, std::string> all = host::all_properties();
  HOLDS(all.at(key.c_str()) == text);
  host::open_properties(fuzz::device_root());
  HOLDS(host::all_properties() == all);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::DeviceFile* const build = new fuzz::DeviceFile("/build.prop");
  static const std::string folder = fuzz::device_root();
  static const std::string state = folder + "/properties";
  FuzzedDataProvider in(data, size);
  const int sets = in.ConsumeIntegralInRange<int>(0, 2);
  const std::string key = any_key(&in);
  unlink(state.c_str());
  static fuzz::DeviceFile* const kept = new fuzz::DeviceFile("/properties");
  kept->remove();
  const std::string first = in.ConsumeRandomLengthString(60);
  if (!first.empty()) kept->set(first);
  for (int i = 0; i < sets; ++i) {
    if (i == 0) {
      build->set("ro.build.product=dov\npersist.a=1\n");
      host::open_properties(folder);
    }
    set_one(&in);
  }
  build->set(in.ConsumeRemainingBytesAsString());
  host::open_properties(folder);
  get(key);
  const std::map<std::string, std::string> all = host::all_properties();
  host::open_properties(folder);
  HOLDS(host::all_properties() == all);
  for (const auto& [name, value] : all)
    HOLDS(name.find('\0') != std::string::npos || get(name) == std::string(value, 0, PROPERTY_VALUE_MAX - 1).c_str());
  host::reboot_properties();
  const std::map<std::string, std::string> rebooted = host::all_properties();
  for (const auto& [name, value] : all) {
    if (name.rfind("persist.", 0) == 0) HOLDS(rebooted.count(name) == 1 && rebooted.at(name) == value);
  }
  host::open_properties(folder);
  HOLDS(host::all_properties() == rebooted);
  return 0;
}
