#include "store/keeper.h"

#include <sys/stat.h>

#include "cli/terminal.h"
#include "files/app_error.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "files/words.h"
#include "record/record_json.h"

namespace factory::store {
namespace {

// What a station waits for one run, at most: the next phone is there.
constexpr double kPatienceSeconds = 10;

// Zeros: there is none.
std::pair<dev_t, ino_t> file_at(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) == 0 ? std::pair(found.st_dev, found.st_ino) : std::pair<dev_t, ino_t>();
}

}  // namespace

Keeper::Keeper(const std::string& uri, const std::string& spool, bool samples)
    : uri_(parse_uri(uri)), samples_(samples) {
  if (!uri_.postgresql && !spool.empty())
    throw AppError(kUsage, "--spool goes with a server; " + uri_.shown + " is a file and needs none");
  try {
    if (uri_.postgresql) {
      spool_.emplace(spool.empty() ? default_spool(uri_) : spool);
      require_owner(&*spool_, uri_);
    } else {
      open_store();
    }
  } catch (const StoreError& error) {
    throw AppError(kUsage, error.what());
  }
}

void Keeper::keep(const record::Run& run) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (spool_) return spool_->keep(run, samples_);
  // A file that was moved away could be written on, and nobody would find the run.
  if (const auto is = file_at(uri_.place); !store_ || is != file_) {
    store_.reset();
    if (is == FileId()) throw StoreError(uri_.shown + ": the file is not there any more");
    open_store();
  }
  store_->put(run, samples_);
}

// Another store under the name may be a copy of yesterday's, or another line's.
void Keeper::open_store() {
  auto store = std::make_unique<Store>(uri_);
  const std::string id = store->id();
  if (id_.empty()) id_ = id;
  if (id != id_) throw StoreError(uri_.shown + ": another store lies there now than the one that runs went to");
  store_ = std::move(store);
  file_ = file_at(uri_.place);
  // A station keeps one run after the other for months: it reads little, and its memory need not grow with the file.
  store_->database().run("PRAGMA cache_size = -8192");
}

bool Keeper::bring_up(const std::string& id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!spool_) return true;
  bool taken = true;
  try {
    const Brought brought = store::bring_up(&*spool_, uri_, kPatienceSeconds);
    tell_problems(brought);
    for (const std::string& refused : brought.refused) taken &= !refused.starts_with(id);
    if (brought.waiting > 0) {
      complain(counted(brought.waiting, "run") + (brought.waiting == 1 ? " waits" : " wait") + " in " + spool_->file() +
               " for the next run or `sensorcal sync`");
    }
  } catch (const StoreError& error) {
    complain(error.what());
  }
  return taken;
}

std::string save_unstored(const record::Run& run) {
  const std::string file = state_folder() + "/unstored-" + run.id + ".json";
  replace_file(file, json_line(to_json(run)) + "\n");
  return "its record is in " + file + ": `sensorcal store import`";
}

void tell_problems(const Brought& brought) {
  for (const std::string& refused : brought.refused) complain("not stored: " + refused);
  if (!brought.away.empty()) complain(brought.away);
}

}  // namespace factory::store
