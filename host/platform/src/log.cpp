#include <android/log.h>

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>

namespace {

// As long as logd's: a longer line is cut.
constexpr size_t kLineBytes = 1024;

std::atomic<__android_logger_function> g_logger{&__android_log_stderr_logger};

char priority_letter(int32_t priority) {
  constexpr char kLetters[] = "??VDIWEFS";
  return priority >= 0 && priority <= ANDROID_LOG_SILENT ? kLetters[priority] : '?';
}

}  // namespace

int32_t host_log_minimum_priority = ANDROID_LOG_DEFAULT;

int(__android_log_print)(int prio, const char* tag, const char* fmt, ...) {
  if (prio < __android_log_get_minimum_priority()) return 0;
  char line[kLineBytes];
  va_list args;
  va_start(args, fmt);
  vsnprintf(line, sizeof line, fmt, args);
  va_end(args);
  const __android_log_message message = {sizeof message, 0, prio, tag, nullptr, 0, line};
  g_logger.load(std::memory_order_acquire)(&message);
  return 1;
}

void __android_log_set_logger(__android_logger_function logger) { g_logger.store(logger, std::memory_order_release); }

void __android_log_stderr_logger(const struct __android_log_message* log_message) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char prefix[128];
  const int prefix_length = snprintf(
      prefix, sizeof prefix, "%02d-%02d %02d:%02d:%02d.%03ld %5d %5ld %c %-8s: ", local.tm_mon + 1, local.tm_mday,
      local.tm_hour, local.tm_min, local.tm_sec, now.tv_nsec / 1000000, getpid(), syscall(SYS_gettid),
      priority_letter(log_message->priority), log_message->tag == nullptr ? "" : log_message->tag);

  // One prefixed line per line of text; a line feed at the end makes no empty line of its own.
  std::string out;
  const char* text = log_message->message;
  do {
    const size_t length = strcspn(text, "\n");
    out.append(prefix, static_cast<size_t>(prefix_length) < sizeof prefix ? static_cast<size_t>(prefix_length)
                                                                          : sizeof prefix - 1);
    out.append(text, length);
    out.push_back('\n');
    text += length;
    if (*text == '\n') ++text;
  } while (*text != '\0');
  // One write per message keeps the lines of several threads apart.
  if (write(STDERR_FILENO, out.data(), out.size()) < 0) return;
}

int32_t __android_log_set_minimum_priority(int32_t priority) {
  return __atomic_exchange_n(&host_log_minimum_priority, priority, __ATOMIC_RELAXED);
}

int32_t __android_log_get_minimum_priority(void) {
  return __atomic_load_n(&host_log_minimum_priority, __ATOMIC_RELAXED);
}

int __android_log_is_loggable(int prio, const char* /*tag*/, int default_prio) {
  const int32_t minimum = __android_log_get_minimum_priority();
  return prio >= (minimum == ANDROID_LOG_DEFAULT ? default_prio : minimum) ? 1 : 0;
}
