// The panel: its brightness nodes under the device root, and how bright it is.
#pragma once

#include <atomic>
#include <string>

namespace phone {

// Any thread may call brightness(); the others belong to the application's thread, which also writes the node. See
// docs/phone-panel.md.
class Panel {
 public:
  Panel(const std::string& device_root, int max_brightness, int start_brightness);

  // Makes the nodes that are missing.
  void lay_out() const;
  // The node as sysfs would show it after what was written into the plain file, and ready for the next write. Called
  // whenever somebody is about to open a file of the device.
  void settle() const;
  // As at power-on.
  void reset() const;
  // The panel takes nothing above this.
  void clamp(int level) { clamp_ = level; }

  // What the panel shows now: what the node says, within what the panel can do. Without a node it stays as it was.
  int brightness() const;
  int max_brightness() const { return max_; }
  const std::string& node() const { return node_; }

 private:
  void write_node(int value) const;

  const std::string folder_;
  const std::string node_;
  const int max_;
  const int start_;
  int clamp_;                      // set before the sensors run
  mutable std::atomic<int> last_;  // what the node said
};

}  // namespace phone
