// Collects the log lines of the whole process while it lives.
#pragma once

#include <android/log.h>

#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace test {

// A line as "P/tag: text", for example "E/libsensor_cal: open json file fail!"; a null tag shows as "(null)".
// Trailing blanks and line feeds are kept.
// One that is not there reads as "", so that a line that is missing fails one test and does not end the whole program.
struct Lines : std::vector<std::string> {
  using std::vector<std::string>::vector;
  std::string front() const { return empty() ? "" : std::vector<std::string>::front(); }
  std::string back() const { return from_end(1); }
  std::string from_end(size_t number) const { return size() < number ? "" : (*this)[size() - number]; }
};

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  Lines all() const;
  // The lines of the thread that calls, or of all the others.
  Lines mine() const;
  Lines others() const;
  // Whether any line contains the text.
  bool contains(const std::string& text) const;
  size_t count(const std::string& text) const;
  void clear();

 private:
  struct Entry {
    std::thread::id thread;
    std::string line;
  };
  static void take(const __android_log_message* message);
  Lines select(bool mine, bool others) const;

  mutable std::mutex mutex_;
  std::vector<Entry> entries_;  // guarded by mutex_
};

// Keeps lines from being formatted while it lives: for tests that would write a great many.
class QuietLog {
 public:
  QuietLog() : before_(__android_log_set_minimum_priority(ANDROID_LOG_SILENT)) {}
  ~QuietLog() { __android_log_set_minimum_priority(before_); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;

 private:
  const int32_t before_;
};

// The lines of the thread that calls as "E text", without those of the hub commands. Open descriptors show as N.
Lines library_lines(const LogCapture& log);
inline Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace test
