// The station's runs on its own disk, from their begin until the store has them: a record each, whose file's name says
// how far its run came.
//
//   under-way-ID.json ---ended()---> ended-ID.json ---told()---> unstored-ID.json ---drop()---> gone
//          |                              ^
//          +-- the station was killed ----+
//
// What is under way is a trace: nothing is known of its run yet. It never holds the run itself.
#pragma once

#include <string>
#include <vector>

#include "record/record.h"

namespace factory::station {

class Journal {
 public:
  // Of one station alone: throws AppError(kUsage) where another one has the folder, or it cannot be written. Runs that
  // were under way when the station before was killed have ended.
  explicit Journal(std::string folder);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // On the disk when they return, and any thread's. Throw AppError. `trace`: what is to be kept of a run if nothing
  // more is heard of it.
  void begin(const record::Run& trace) const;
  void ended(const record::Run& run) const;
  // Whether the disk takes anything, without a run.
  void try_disk() const;

  // Their ids, the oldest first: the ids are in the order of time.
  std::vector<std::string> ended() const { return ids_of(kEnded); }
  std::vector<std::string> unstored() const { return ids_of(kUnstored); }
  // The record of one of them. Throws AppError, FormatError.
  record::Run read(const std::string& id) const;
  void told(const std::string& id) const;
  void drop(const std::string& id) const;
  // The store has the run already.
  void forget_trace(const std::string& id) const;

  // What was under way when the station before was killed.
  const std::vector<record::Run>& cut_off() const { return cut_off_; }
  const std::string& folder() const { return folder_; }

 private:
  static constexpr const char* kUnderWay = "under-way-";
  static constexpr const char* kEnded = "ended-";
  static constexpr const char* kUnstored = "unstored-";
  std::string file(const char* stage, const std::string& id) const { return folder_ + "/" + stage + id + ".json"; }
  std::vector<std::string> ids_of(const std::string& stage) const;
  void move(const char* from, const char* to, const std::string& id) const;
  void clean_up();

  const std::string folder_;
  int lock_ = -1;
  std::vector<record::Run> cut_off_;
};

// Folders beside `own`, of stations that run no more, in which runs may wait: their settings name another station or
// store now.
std::vector<std::string> journals_left(const std::string& own);

}  // namespace factory::station
