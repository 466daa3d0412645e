// What a phone's hub holds after a plan, and how far fresh samples of each sensor are from the truth then. Looks at the
// phone alone: neither the library nor the application has a part in it.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace acceptance {

struct Residual {
  std::string sensor;   // tag as plans have it, or "panel"
  bool set = false;     // the hub holds a value
  bool stored = false;  // and it is not what the hub comes with, which may have been put back
  double value = 0;     // of the worst axis, in the unit of the limit
  double limit = 0;
  std::string unit;
  bool exceeds() const { return !(value <= limit); }
};

// Opens the phone in `directory` anew, at rest under the factory's lamp, with faults that are its own.
std::vector<Residual> measure_residuals(const std::string& directory, const std::vector<std::string>& faults = {});

Json::Value to_json(const Residual& residual);

}  // namespace acceptance
