// Files as standard streams that no child process inherits. The standard's own file streams leave that to the C++
// library, and not all of them open their files close-on-exec.
#pragma once

#include <istream>
#include <ostream>
#include <streambuf>
#include <string>

// A descriptor as a stream's buffer. What is written goes out when the file is closed, in one piece.
class FileBuffer : public std::streambuf {
 public:
  FileBuffer() = default;
  ~FileBuffer() override { close(); }
  FileBuffer(const FileBuffer&) = delete;
  FileBuffer& operator=(const FileBuffer&) = delete;

  // Always close-on-exec; false with errno when it fails.
  bool open(const std::string& path, int flags);
  bool is_open() const { return fd_ >= 0; }
  // False when it was not open, or not everything could be written.
  bool close();

 protected:
  int_type underflow() override;
  int_type overflow(int_type c) override;
  std::streamsize xsputn(const char* text, std::streamsize length) override;

 private:
  bool write_all() const;

  int fd_ = -1;
  char input_[4096];
  std::string output_;
};

// As std::ifstream: failed from the start when the file cannot be opened.
class InputFile : public std::istream {
 public:
  InputFile() : std::istream(nullptr) { rdbuf(&buffer_); }
  explicit InputFile(const std::string& path) : InputFile() { open(path); }

  void open(const std::string& path);
  bool is_open() const { return buffer_.is_open(); }
  void close();

 private:
  FileBuffer buffer_;
};

// As std::ofstream: makes the file or empties it.
class OutputFile : public std::ostream {
 public:
  explicit OutputFile(const std::string& path);

  bool is_open() const { return buffer_.is_open(); }

 private:
  FileBuffer buffer_;
};
