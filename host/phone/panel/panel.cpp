#include "phone/panel/panel.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string_view>

#include "phone/core/files.h"

namespace phone {
namespace {

// A write replaces what a sysfs node holds, but only the first bytes of a plain file. Five blanks in front of the
// number hide the difference: whatever number of up to four digits is laid over them ends where its write ended. No
// line feed: readers take ten bytes, and some want room for an end of their own.
constexpr char kNodeFormat[] = "%9d";
constexpr char kFolder[] = "/sys/class/leds/lcd-backlight";

// Leading blanks, then digits, as "%d" reads them.
std::optional<int> parse(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\n");
  if (first == std::string_view::npos) return std::nullopt;
  int value = 0;
  const auto [end, error] = std::from_chars(text.data() + first, text.data() + text.size(), value);
  return error == std::errc() ? std::optional<int>(value) : std::nullopt;
}

std::optional<int> read_node(const std::string& path) {
  char text[16];
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  const ssize_t length = read(fd, text, sizeof text);
  close(fd);
  return length > 0 ? parse({text, static_cast<size_t>(length)}) : std::nullopt;
}

}  // namespace

Panel::Panel(const std::string& device_root, int max_brightness, int start_brightness)
    : folder_(device_root + kFolder),
      node_(folder_ + "/brightness"),
      max_(max_brightness),
      start_(start_brightness),
      clamp_(max_brightness),
      last_(start_brightness) {}

void Panel::lay_out() const {
  std::filesystem::create_directories(folder_);
  const std::string max_node = folder_ + "/max_brightness";
  if (!file_exists(max_node)) replace_file(max_node, std::to_string(max_) + "\n");
  if (!file_exists(node_)) write_node(start_);
}

void Panel::settle() const {
  if (file_exists(node_)) write_node(brightness());
}

void Panel::reset() const {
  last_ = start_;
  if (file_exists(node_)) write_node(start_);
}

int Panel::brightness() const {
  const std::optional<int> node = read_node(node_);
  if (node) last_ = *node;
  return std::clamp(node.value_or(last_), 0, std::min(max_, clamp_));
}

// Into the file that is there: somebody may have it open.
void Panel::write_node(int value) const {
  char text[16];
  const int length = snprintf(text, sizeof text, kNodeFormat, value);
  const int fd = open(node_.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0644);
  if (fd < 0) return;
  if (pwrite(fd, text, static_cast<size_t>(length), 0) == length && ftruncate(fd, length) != 0) {
    // A node that refuses writes (a fault) stays as it is.
  }
  close(fd);
}

}  // namespace phone
