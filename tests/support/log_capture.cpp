#include "log_capture.h"

#include <algorithm>

namespace test {
namespace {

LogCapture* g_capture = nullptr;
constexpr char kLetters[] = "??VDIWEFS";

// A test that captures nothing prints nothing either.
void discard(const __android_log_message* /*message*/) {}
const bool g_quiet = (__android_log_set_logger(&discard), true);

}  // namespace

LogCapture::LogCapture() {
  g_capture = this;
  __android_log_set_logger(&LogCapture::take);
}

LogCapture::~LogCapture() {
  __android_log_set_logger(&discard);
  g_capture = nullptr;
}

void LogCapture::take(const __android_log_message* message) {
  std::string line(1, kLetters[message->priority]);
  line += std::string("/") + (message->tag == nullptr ? "(null)" : message->tag) + ": " + message->message;
  const std::lock_guard<std::mutex> lock(g_capture->mutex_);
  g_capture->entries_.push_back({std::this_thread::get_id(), line});
}

Lines LogCapture::select(bool mine, bool others) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Lines out;
  for (const Entry& entry : entries_) {
    if (entry.thread == std::this_thread::get_id() ? mine : others) out.push_back(entry.line);
  }
  return out;
}

Lines LogCapture::all() const { return select(true, true); }
Lines LogCapture::mine() const { return select(true, false); }
Lines LogCapture::others() const { return select(false, true); }

size_t LogCapture::count(const std::string& text) const {
  const Lines lines = all();
  return static_cast<size_t>(
      std::count_if(lines.begin(), lines.end(), [&](const auto& l) { return l.find(text) != std::string::npos; }));
}

bool LogCapture::contains(const std::string& text) const { return count(text) > 0; }

void LogCapture::clear() {
  const std::lock_guard<std::mutex> lock(mutex_);
  entries_.clear();
}

Lines library_lines(const LogCapture& log) {
  const std::string tag = "/libsensor_cal: ";
  Lines lines = log.mine();
  std::erase_if(lines, [&](const std::string& line) { return line.compare(1, tag.size(), tag) != 0; });
  for (std::string& line : lines) {
    line.replace(1, tag.size(), " ");
    const size_t fd = line.find("fd=");
    if (fd != std::string::npos && line[fd + 3] != '-') line = line.substr(0, fd + 3) + "N\n";
  }
  return lines;
}

}  // namespace test
