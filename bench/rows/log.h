// A log line that is printed to a counting sink, against the formatting alone; and one below the minimum priority,
// against another library's.
#pragma once

#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#include <stdarg.h>
#include <stdio.h>

#include <memory>

#define LOG_TAG "libsensor_cal"
#include "base/log.h"

namespace bench {

inline uint64_t g_lines = 0;
inline void count_line(const __android_log_message* /*line*/) { ++g_lines; }

// What a line's values come from: the compiler may not take them for constants.
struct Values {
  float x = 0.123F, y = -4.567F, z = 9.80665F;
  void change() { asm volatile("" : "+m"(*this)); }
};

class PrintedLineRow {
 public:
  PrintedLineRow() {
    __android_log_set_logger(count_line);
    __android_log_set_minimum_priority(ANDROID_LOG_INFO);
  }
  ~PrintedLineRow() { __android_log_set_minimum_priority(ANDROID_LOG_SILENT); }

  void ours() {
    values_.change();
    LOGI("SENSOR_TYPE_ACCELEROMETER data: {%f, %f, %f}", static_cast<double>(values_.x), static_cast<double>(values_.y),
         static_cast<double>(values_.z));
  }
  void theirs() {
    values_.change();
    format("SENSOR_TYPE_ACCELEROMETER data: {%f, %f, %f}", static_cast<double>(values_.x),
           static_cast<double>(values_.y), static_cast<double>(values_.z));
    ++g_lines;
  }

 private:
  __attribute__((noinline, format(printf, 2, 3))) void format(const char* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    vsnprintf(line_, sizeof line_, text, arguments);
    va_end(arguments);
  }

  Values values_;
  char line_[1024];
};

class DisabledLineRow {
 public:
  DisabledLineRow() : logger_("bench", std::make_shared<spdlog::sinks::null_sink_mt>()) {
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    logger_.set_level(spdlog::level::warn);
  }
  ~DisabledLineRow() { __android_log_set_minimum_priority(ANDROID_LOG_SILENT); }

  void ours() {
    values_.change();
    LOGI("SENSOR_TYPE_ACCELEROMETER data: {%f, %f, %f}", static_cast<double>(values_.x), static_cast<double>(values_.y),
         static_cast<double>(values_.z));
  }
  void theirs() {
    values_.change();
    logger_.info("SENSOR_TYPE_ACCELEROMETER data: {{{}, {}, {}}}", static_cast<double>(values_.x),
                 static_cast<double>(values_.y), static_cast<double>(values_.z));
  }

 private:
  Values values_;
  spdlog::logger logger_;
};

}  // namespace bench
