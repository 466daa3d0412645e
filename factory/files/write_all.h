// Whole texts to a file descriptor.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <string>

namespace factory {

// Goes on where a signal or a short write interrupts. False: errno says why.
inline bool write_all(int fd, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t count = ::write(fd, text.data() + done, text.size() - done);
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) done += static_cast<size_t>(count);
  }
  return true;
}

}  // namespace factory
