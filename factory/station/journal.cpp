#include "station/journal.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
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

// The folder's lock, which ends with whoever has it; -1: another has.
int locked(const std::string& folder) {
  const int out = open((folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (out < 0) throw AppError(kUsage, folder + ": runs cannot be kept there: " + strerror(errno));
  if (flock(out, LOCK_EX | LOCK_NB) == 0) return out;
  close(out);
  return -1;
}

}  // namespace

Journal::Journal(std::string folder) : folder_(std::move(folder)) {
  std::error_code error;
  fs::create_directories(folder_, error);
  lock_ = locked(folder_);
  if (lock_ < 0) throw AppError(kUsage, "another station of this name and this store runs already; it has " + folder_);
  for (const std::string& id : ids_of(kUnderWay)) {
    move(kUnderWay, kEnded, id);
    try {
      cut_off_.push_back(read(id));
    } catch (const std::exception&) {
      // Whoever brings it to the store says what is wrong with it.
    }
  }
}

Journal::~Journal() { close(lock_); }

void Journal::begin(const record::Run& run) {
  replace_file(file(kUnderWay, run.id), json_line(record::to_json(run)) + "\n");
}

void Journal::ended(const record::Run& run) {
  begin(run);  // whenever the station is killed, one of both is there, and whole
  move(kUnderWay, kEnded, run.id);
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

void Journal::told(const std::string& id) { move(kEnded, kUnstored, id); }

void Journal::drop(const std::string& id) { fs::remove(file(kUnstored, id)); }

std::vector<std::string> journals_left(const std::string& state_folder) {
  std::vector<std::string> out;
  std::error_code error;
  for (auto at = fs::directory_iterator(state_folder, error); !error && at != fs::directory_iterator();
       at.increment(error)) {
    const std::string folder = at->path();
    if (!at->path().filename().string().starts_with("station-")) continue;
    const bool waits = std::any_of(fs::directory_iterator(folder, error), fs::directory_iterator(),
                                   [](const auto& entry) { return entry.path().extension() == ".json"; });
    const int lock = waits && !error ? locked(folder) : -1;
    if (lock < 0) continue;
    close(lock);
    out.push_back(folder);
  }
  return out;
}

}  // namespace factory::station
