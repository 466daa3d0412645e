#include "simulator/drawn_phone.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "phone/core/random.h"
#include "phone/options.h"
#include "simulator/flaw.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

// Those that a run notices at once; others (a silent sensor) keep a station waiting for the run's time limit.
constexpr const char* kQuickFaults[] = {"enable-refused:", "nan:", "stuck:", "drift:"};

template <typename List>
const auto& one_of(const List& list, double uniform) {
  return list[static_cast<size_t>(uniform * static_cast<double>(std::size(list)))];
}

// Kinds of flaw whose sensor is among those.
std::vector<uint64_t> flaws_of(const std::vector<std::string>& sensors) {
  std::vector<uint64_t> out;
  const std::vector<std::string> all = flaw_sensors();
  for (size_t i = 0; i < all.size(); ++i) {
    if (std::find(sensors.begin(), sensors.end(), all[i]) != sensors.end()) out.push_back(i);
  }
  return out;
}

}  // namespace

std::optional<DrawnFault> draw_fault(uint64_t seed, double rate, const std::vector<std::string>& sensors,
                                     const std::string& profile, const std::string& profile_file) {
  const phone::Draws draws = phone::Draws(seed).of("line");
  if (sensors.empty() || draws.uniform(0) >= rate) return {};
  const std::vector<uint64_t> flaws = flaws_of(sensors);
  if (!flaws.empty() && draws.uniform(1) < 0.5) {
    const Flaw flaw = draw_flaw(draws.of("flaw"), one_of(flaws, draws.uniform(2)), profile);
    write_flawed_profile(profile_file, profile, flaw);
    return DrawnFault{flaw.sensor + " " + flaw.what, profile_file, ""};
  }
  const std::string fault = one_of(kQuickFaults, draws.uniform(3)) + one_of(sensors, draws.uniform(4));
  return DrawnFault{fault, profile, fault};
}

PhonesFolder::PhonesFolder() {
  constexpr char kInMemory[] = "/dev/shm";
  const bool usable = access(kInMemory, W_OK | X_OK) == 0;
  std::error_code ignored;
  const fs::path place = usable ? fs::path(kInMemory) : fs::temp_directory_path(ignored);
  path_ = (place / "sensorcal-XXXXXX").string();
  if (mkdtemp(path_.data()) == nullptr) throw AppError(kUnreachable, path_ + ": cannot be made");
}

PhonesFolder::~PhonesFolder() {
  std::error_code ignored;
  fs::current_path("/", ignored);  // a run leaves the process in a phone's directory
  fs::remove_all(path_, ignored);
}

}  // namespace factory
