// The files below the device root that a run's phone holds: copied into a recording, and followed through the run.
#pragma once

#include <json/json.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace factory::trace {

// Copies folders, files and links below a device root to `folder`, which it makes. Files that cannot be written, which
// lie in memory behind a link, become plain ones; their paths are returned. Throws std::filesystem::filesystem_error.
std::vector<std::string> copy_device_files(const std::string& root, const std::string& folder);

class DeviceFiles {
 public:
  explicit DeviceFiles(std::string root);

  // Notes which files are others than at first. To be called before and after the phone may have changed some: what it
  // makes of a file that was written need not differ from what was there before.
  void look();
  // The files that were ever noted, as they are at the last look: path to content in hex, null for one that is not
  // there. An object, maybe empty.
  Json::Value changed() const;
  // Throws Json::Exception for what changed() does not give.
  static void check(const Json::Value& changes);
  void apply(const Json::Value& changes) const;

 private:
  std::map<std::string, std::string> read_all() const;

  const std::string root_;
  const std::map<std::string, std::string> first_;
  std::map<std::string, std::string> seen_;
  std::set<std::string> noted_;
};

}  // namespace factory::trace
