// Simulated phones of which some have something wrong with them, and a place for their directories.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace factory {

// What is wrong with a phone: a part of it, or what happens while it is on the station.
struct DrawnFault {
  std::string text;     // for people
  std::string profile;  // the phone's: what was given, or the file with the flawed part
  std::string fault;    // as Options::fault has it; empty: the part alone
};

// Of phones with a fault, drawn from the phone's seed alone, as is which fault: one that the sensors (tags) of a plan
// should find and that ends soon. `profile_file` is written where a part is flawed. Nothing for a phone without one.
std::optional<DrawnFault> draw_fault(uint64_t seed, double rate, const std::vector<std::string>& sensors,
                                     const std::string& profile, const std::string& profile_file);

// A new folder, gone at the end; in memory where there is such a file system: a phone writes its hub's store at every
// change, and would wait for the disk. Throws AppError.
class PhonesFolder {
 public:
  PhonesFolder();
  ~PhonesFolder();
  PhonesFolder(const PhonesFolder&) = delete;
  PhonesFolder& operator=(const PhonesFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace factory
