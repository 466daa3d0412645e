// Faults of the device's files and properties, for as long as the phone is open.
#pragma once

#include <string>
#include <vector>

#include "phone/faults/faults.h"

namespace phone {

// Files: what stands in for them goes with the object and the real ones come back; truncated and garbled files stay so.
// They also work for a process that may write everything.
class FileFaults {
 public:
  // Clears away first what an interrupted process left. Throws PhoneError.
  explicit FileFaults(std::string device_root);
  ~FileFaults();
  FileFaults(const FileFaults&) = delete;
  FileFaults& operator=(const FileFaults&) = delete;

  void apply(const Faults& faults, uint64_t seed);

 private:
  void put_back() const;
  void replace_by_link(const std::string& path, const std::string& target) const;
  std::string unwritable_copy(const std::string& path);
  void spoil_file(const Fault& fault, uint64_t seed) const;

  const std::string root_;
  std::vector<int> descriptors_;  // of the copies
};

// Properties: the old values show again with the end of the object, but for those that were set since.
class PropertyFaults {
 public:
  ~PropertyFaults();

  void apply(const Faults& faults);
};

}  // namespace phone
