#include "base/file_stream.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

bool FileBuffer::open(const std::string& path, int flags) {
  if (is_open()) return false;
  fd_ = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
  return is_open();
}

bool FileBuffer::write_all() const {
  size_t done = 0;
  while (done < output_.size()) {
    const ssize_t n = ::write(fd_, output_.data() + done, output_.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

bool FileBuffer::close() {
  if (!is_open()) return false;
  const bool written = write_all();
  const bool closed = ::close(fd_) == 0;
  fd_ = -1;
  output_.clear();
  setg(nullptr, nullptr, nullptr);
  return written && closed;
}

FileBuffer::int_type FileBuffer::underflow() {
  ssize_t n = -1;
  do {
    n = is_open() ? ::read(fd_, input_, sizeof input_) : 0;
  } while (n < 0 && errno == EINTR);
  if (n <= 0) return traits_type::eof();
  setg(input_, input_, input_ + n);
  return traits_type::to_int_type(*gptr());
}

FileBuffer::int_type FileBuffer::overflow(int_type c) {
  if (!is_open()) return traits_type::eof();
  if (!traits_type::eq_int_type(c, traits_type::eof())) output_ += traits_type::to_char_type(c);
  return traits_type::not_eof(c);
}

std::streamsize FileBuffer::xsputn(const char* text, std::streamsize length) {
  if (!is_open()) return 0;
  output_.append(text, static_cast<size_t>(length));
  return length;
}

void InputFile::open(const std::string& path) {
  if (!buffer_.open(path, O_RDONLY)) setstate(failbit);
}

void InputFile::close() {
  if (!buffer_.close()) setstate(failbit);
}

OutputFile::OutputFile(const std::string& path) : std::ostream(nullptr) {
  rdbuf(&buffer_);
  if (!buffer_.open(path, O_WRONLY | O_CREAT | O_TRUNC)) setstate(failbit);
}
