#include "station/journal.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "files/app_error.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "record/record_json.h"

namespace factory::station {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTrial = "trial";

// Of the open file: ends with whoever has it, and can be asked for without being taken.
bool lock(int command, int file, struct flock* out) {
  *out = {};
  out->l_type = F_WRLCK;
  out->l_whence = SEEK_SET;
  return fcntl(file, command, out) == 0;
}

std::string lock_file(const std::string& folder) { return folder + "/lock"; }

// Whether runs lie there, or nobody can say, and no station has the folder.
bool is_left(const fs::path& folder) {
  std::error_code closed;  // to this user
  bool waits = false;
  for (auto in = fs::directory_iterator(folder, closed); !closed && in != fs::directory_iterator();
       in.increment(closed))
    waits |= in->path().extension() == ".json";
  if (!waits && !closed) return false;
  const int file = open(lock_file(folder).c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return true;
  struct flock found {};
  const bool runs = lock(F_OFD_GETLK, file, &found) && found.l_type != F_UNLCK;
  close(file);
  return !runs;
}

}  // namespace

Journal::Journal(std::string folder) : folder_(std::move(folder)) {
  std::error_code error;
  fs::create_directories(folder_, error);
  lock_ = open(lock_file(folder_).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (lock_ < 0) throw AppError(kUsage, folder_ + ": runs cannot be kept there: " + strerror(errno));
  struct flock wanted {};
  if (!lock(F_OFD_SETLK, lock_, &wanted))
    throw AppError(kUsage, "another station of this name and this store runs already; it has " + folder_);
  clean_up();
}

// What the station before left where it was killed.
void Journal::clean_up() {
  for (const auto& entry : fs::directory_iterator(folder_)) {
    const std::string name = entry.path().filename();
    std::error_code ignored;
    if (name.find(".json.") != std::string::npos || name.starts_with(kTrial)) fs::remove(entry.path(), ignored);
  }
  for (const std::string& id : ids_of(kUnderWay)) {
    if (fs::exists(file(kEnded, id)) || fs::exists(file(kUnstored, id))) {
      forget_trace(id);
      continue;
    }
    move(kUnderWay, kEnded, id);
    try {
      cut_off_.push_back(read(id));
    } catch (const std::exception&) {
      // Whoever brings it to the store says what is wrong with it.
    }
  }
}

Journal::~Journal() { close(lock_); }

void Journal::begin(const record::Run& trace) const {
  replace_file(file(kUnderWay, trace.id), json_line(record::to_json(trace)) + "\n");
}

// Whenever the station is killed, one of both is there, and whole; where both are, the run outweighs its trace.
void Journal::ended(const record::Run& run) const {
  replace_file(file(kEnded, run.id), json_line(record::to_json(run)) + "\n");
  forget_trace(run.id);
}

void Journal::try_disk() const {
  constexpr size_t kBytes = 64 << 10;  // a large record may still be too much
  replace_file(folder_ + "/" + kTrial, std::string(kBytes, ' '));
  std::error_code ignored;
  fs::remove(folder_ + "/" + kTrial, ignored);
}

std::vector<std::string> Journal::ids_of(const std::string& stage) const {
  std::vector<std::string> out;
  std::error_code error;
  for (auto at = fs::directory_iterator(folder_, error); !error && at != fs::directory_iterator();
       at.increment(error)) {
    const std::string name = at->path().filename();
    if (!name.starts_with(stage) || !name.ends_with(".json")) continue;
    const std::string id = name.substr(stage.size(), name.size() - stage.size() - 5);
    if (record::is_run_id(id)) out.push_back(id);
  }
  std::sort(out.begin(), out.end());
  return out;
}

record::Run Journal::read(const std::string& id) const {
  for (const char* stage : {kEnded, kUnstored}) {
    if (const auto bytes = read_file(file(stage, id))) return record::read_run(*bytes);
    if (errno != ENOENT) break;
  }
  throw AppError(kUnreachable, file(kUnstored, id) + ": " + strerror(errno));
}

void Journal::move(const char* from, const char* to, const std::string& id) const {
  fs::rename(file(from, id), file(to, id));
}

void Journal::told(const std::string& id) const { move(kEnded, kUnstored, id); }

void Journal::drop(const std::string& id) const { fs::remove(file(kUnstored, id)); }

void Journal::forget_trace(const std::string& id) const { fs::remove(file(kUnderWay, id)); }

std::vector<std::string> journals_left(const std::string& own) {
  std::vector<std::string> out;
  std::error_code error;
  for (auto at = fs::directory_iterator(fs::path(own).parent_path(), error); !error && at != fs::directory_iterator();
       at.increment(error)) {
    const bool is_other = at->path().filename().string().starts_with("station-") && at->path() != own;
    if (is_other && is_left(at->path())) out.push_back(at->path());
  }
  std::sort(out.begin(), out.end());
  return out;
}

}  // namespace factory::station
