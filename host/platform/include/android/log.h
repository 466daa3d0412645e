// Stand-in for the NDK's <android/log.h>: the part of it that this project uses, with the NDK's signatures.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum android_LogPriority {
  ANDROID_LOG_UNKNOWN = 0,
  ANDROID_LOG_DEFAULT,
  ANDROID_LOG_VERBOSE,
  ANDROID_LOG_DEBUG,
  ANDROID_LOG_INFO,
  ANDROID_LOG_WARN,
  ANDROID_LOG_ERROR,
  ANDROID_LOG_FATAL,
  ANDROID_LOG_SILENT,
} android_LogPriority;

struct __android_log_message {
  size_t struct_size;
  int32_t buffer_id;
  int32_t priority;
  const char* tag;
  const char* file;
  uint32_t line;
  const char* message;
};

typedef void (*__android_logger_function)(const struct __android_log_message* log_message);

// Formats and hands the line to the logger. A line below the minimum priority returns before it is formatted.
int __android_log_print(int prio, const char* tag, const char* fmt, ...) __attribute__((__format__(printf, 3, 4)));

// Host only. Such a line costs a comparison and no call: the macro below reads what
// __android_log_set_minimum_priority() sets. The values of a line that is not wanted are not even evaluated.
extern int32_t host_log_minimum_priority;
static inline int host_log_drop(void) { return 0; }
#define __android_log_print(prio, ...)                                                      \
  ((prio) < __atomic_load_n(&host_log_minimum_priority, __ATOMIC_RELAXED) ? host_log_drop() \
                                                                          : (__android_log_print)(prio, __VA_ARGS__))

// Replaces the logger of the whole process. Not to be called while other threads log.
void __android_log_set_logger(__android_logger_function logger);

// The default logger: logcat's threadtime form on standard error.
void __android_log_stderr_logger(const struct __android_log_message* log_message);

// Sets the minimum priority of the whole process and returns the previous one.
int32_t __android_log_set_minimum_priority(int32_t priority);
int32_t __android_log_get_minimum_priority(void);

int __android_log_is_loggable(int prio, const char* tag, int default_prio);

#ifdef __cplusplus
}
#endif
