// A phone's directory on this host: made at the first use, held by one process at a time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "phone/core/phone.h"
#include "phone/core/profile.h"

namespace phone {

class PhoneDirectory {
 public:
  // Throws PhoneError: the directory is held, is not a phone's, or cannot be made or read.
  explicit PhoneDirectory(const PhoneOptions& options);
  ~PhoneDirectory();
  PhoneDirectory(const PhoneDirectory&) = delete;
  PhoneDirectory& operator=(const PhoneDirectory&) = delete;

  const std::string& path() const { return path_; }
  const ProfilePtr& profile() const { return profile_; }
  uint64_t seed() const { return seed_; }
  uint32_t opening() const { return opening_; }  // 1 at the first use
  const std::vector<std::string>& remarks() const { return remarks_; }
  bool durable() const { return !temporary_; }  // whether a write waits for the disk

  // Throws PhoneError where the directory was opened without being written.
  void require_writable() const;

  // The device's files as the profile lays them down; those that calibrations write go or come back.
  void restore_files() const;

 private:
  void refuse_linked_folders() const;
  void release();
  void make_folder(const std::string& wanted);
  void lock();
  void make(const PhoneOptions& options);
  void read();
  void write_state() const;
  void write(const std::string& path, const std::string& content) const;
  std::string file(const char* name) const { return path_ + "/" + name; }

  std::string path_;
  bool temporary_ = false;
  bool read_only_ = false;
  int lock_fd_ = -1;
  ProfilePtr profile_;
  uint64_t seed_ = 0;
  uint32_t opening_ = 0;
  std::vector<std::string> remarks_;
};

}  // namespace phone
