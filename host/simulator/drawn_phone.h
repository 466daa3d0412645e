// Simulated phones of which some have something wrong with them, stations that are a little off, and a place for the
// phones' directories.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "files/scratch_folder.h"

namespace phone {
class Draws;
struct World;
}  // namespace phone

namespace factory {

// A part of a phone that lies beyond what the shipped plans, or the library, allow.
struct Flaw {
  std::string sensor;  // tag as plans have it
  std::string what;    // for people: "bias 2 1.1 m/s^2"
  std::string chips;   // of the phone's profile, as JSON
};

// A flaw of the kind `which` (counted round), a tenth beyond the limit.
Flaw draw_flaw(const phone::Draws& draws, uint64_t which, const std::string& profile);

// Writes the profile with the flaw in it to a file.
void write_flawed_profile(const std::string& file, const std::string& profile, const Flaw& flaw);

// What is wrong with a phone: a part of it, or what happens while it is on the station.
struct DrawnFault {
  std::string profile;  // the phone's: what was given, or the file with the flawed part
  std::string fault;    // as Options::fault has it; empty: the part alone
};

// Of phones with a fault, drawn from the phone's seed alone, as is which fault: one that the sensors (tags) of a plan
// should find and that ends soon. `profile_file` is written where a part is flawed. Nothing for a phone without one.
std::optional<DrawnFault> draw_fault(uint64_t seed, double rate, const std::vector<std::string>& sensors,
                                     const std::string& profile, const std::string& profile_file);

// The world as a station makes it when it means to make the other: a table that is not quite level, a lamp and a
// pressure that are not quite right. Always the same for one seed.
phone::World as_built(const phone::World& meant, uint64_t station_seed);

class PhonesFolder : public ScratchFolder {
 public:
  // Throws AppError.
  PhonesFolder();
  ~PhonesFolder();
};

}  // namespace factory
