// One line on the terminal that is written over and over, and gone at the end. Silent where standard error is none.
#pragma once

#include <string>

namespace factory {

class StatusLine {
 public:
  explicit StatusLine(bool wanted);
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  void show(const std::string& text);
  void clear();

 private:
  const bool shown_;
};

}  // namespace factory
