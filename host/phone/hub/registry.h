// The hub's store on the disk: hub_registry.json in a phone's directory, docs/formats/hub-registry.md.
#pragma once

#include <mutex>
#include <string>

#include "phone/hub/hub.h"

namespace phone {

// The hub must outlive it. Any thread may call.
class HubRegistry {
 public:
  // `durable`: every save waits until the disk has it.
  HubRegistry(Hub* hub, const std::string& directory, bool durable = false);

  const std::string& path() const { return path_; }

  // Both return an empty text, or what was wrong, naming the file. No file is an empty store. After a failed load
  // nothing was changed, neither hub nor file.
  std::string load();
  // What the hub holds at this moment; for Hub::on_change().
  std::string save();

 private:
  Hub* const hub_;
  const std::string path_;
  const bool durable_;
  std::mutex mutex_;  // from reading the hub to the rename: the last save has the newest values
};

}  // namespace phone
