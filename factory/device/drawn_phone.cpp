// A real phone is not drawn from a seed.
#include "drawn_phone.h"

#include "options.h"

namespace factory {

std::optional<DrawnFault> draw_fault(uint64_t /*seed*/, double /*rate*/, const std::vector<std::string>& /*sensors*/,
                                     const std::string& /*profile*/, const std::string& /*profile_file*/) {
  return std::nullopt;
}

std::string new_phones_folder() {
  throw AppError(kUsage, "simulated phones run on a host: this sensorcal is built for a real one");
}

}  // namespace factory
