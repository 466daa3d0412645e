#include "station/archive.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "cli/terminal.h"
#include "files/whole_file.h"
#include "record/exit_code.h"
#include "record/record_json.h"
#include "store/patience.h"
#include "store/schema.h"
#include "store/spool.h"
#include "store/stored_run.h"

namespace factory::station {
namespace {

using std::chrono::milliseconds;

constexpr double kAskSeconds = 3;             // that the store has for an answer
constexpr milliseconds kScanWaits{4000};      // that a scan waits for it
constexpr milliseconds kBetweenTries{10000};  // while the server is away
constexpr double kPatienceSeconds = 10;       // that the server has for one run
constexpr std::chrono::hours kWatched{30 * 24};
constexpr std::chrono::seconds kBetweenLooks{60};
constexpr int kLookShare = 50;    // of the time: a look at many runs is made less often
constexpr int kHistoryMax = 200;  // runs of one phone that are looked at

}  // namespace

Archive::Archive(const Settings& settings, std::shared_ptr<record::Sink> files, std::function<void()> changed)
    : settings_(settings), files_(std::move(files)), changed_(std::move(changed)) {
  if (!settings.store.empty()) keeper_.emplace(settings.store, settings.spool, settings.samples);
  brings_ = keeper_ && keeper_->has_spool();
  writer_ = std::thread([this] { write(); });
  reader_ = std::thread([this] { look_up(); });
  if (keeper_) watcher_ = std::thread([this] { watch(); });
  if (brings_) courier_ = std::thread([this] { bring_up(); });
}

Archive::~Archive() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    leaves_ = true;
  }
  work_.notify_all();
  for (std::thread* thread : {&writer_, &reader_, &courier_, &watcher_}) {
    if (thread->joinable()) thread->join();
  }
}

void Archive::keep(record::Run run) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    runs_.push_back(std::move(run));
  }
  work_.notify_all();
}

Archive::Status Archive::status() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Status out = status_;
  if (!unstored_.empty()) out.problem = unstored_ + (out.problem.empty() ? "" : "; " + out.problem);
  return out;
}

void Archive::write() {
  for (;;) {
    record::Run run;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      work_.wait(lock, [this] { return !runs_.empty() || leaves_; });
      if (runs_.empty()) return;
      run = std::move(runs_.front());
      runs_.pop_front();
    }
    deliver(std::move(run));
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      brings_ = true;
    }
    work_.notify_all();
  }
}

void Archive::deliver(record::Run run) {
  std::string problem;
  store::hash_plan(&run);
  const auto attempt = [&](const std::string& what, auto&& work) {
    try {
      work();
    } catch (const std::exception& error) {
      problem += (problem.empty() ? "" : "; ") + what + reason_of(error);
      return false;
    }
    return true;
  };
  if (keeper_ && !attempt("run " + run.id + " was not stored: ", [&] { keeper_->keep(run); }))
    attempt("nor was its record kept: ", [&] { problem += "; " + store::save_unstored(run); });
  if (files_ && !files_->write(run, {})) problem += (problem.empty() ? "" : "; ") + ("no report of run " + run.id);
  if (!problem.empty()) complain(problem);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (unstored_ == problem) return;
    unstored_ = problem;
  }
  changed_();
}

// With a spool of its own: a server that is slow to answer keeps no run from its disk.
void Archive::bring_up() {
  for (bool more = true; more;) {
    try {
      store::Spool spool(keeper_->spool_file());
      const store::Brought brought = store::bring_up(&spool, store::parse_uri(settings_.store), kPatienceSeconds);
      tell(brought.away.empty() && !brought.refused.empty() ? brought.refused.front() : brought.away, brought.waiting);
    } catch (const std::exception& error) {
      tell(reason_of(error), status().waiting);
    }
    std::unique_lock<std::mutex> lock(mutex_);
    brings_ = false;
    work_.wait_for(lock, kBetweenTries, [this] { return leaves_ || brings_; });
    more = !leaves_;
  }
}

void Archive::tell(const std::string& problem, int waiting) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (status_.problem == problem && status_.waiting == waiting) return;
    if (!problem.empty() && status_.problem != problem) complain(problem);
    status_ = {waiting, problem};
  }
  changed_();
}

template <typename Ask>
auto Archive::asked(Ask ask) const {
  store::Database database(store::parse_uri(settings_.store), store::Database::Access::reading);
  const store::Patience patience(database.socket(), kAskSeconds);
  require_schema(&database);
  return ask(&database);
}

void Archive::look_up() {
  for (;;) {
    std::shared_ptr<Question> question;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      work_.wait(lock, [this] { return !questions_.empty() || leaves_; });
      if (questions_.empty()) return;
      question = questions_.front();
      questions_.pop_front();
    }
    if (question.use_count() == 1) continue;  // whoever asked has gone
    std::optional<std::vector<store::StoredRun>> answer;
    std::string why;
    try {
      answer = asked(
          [&](store::Database* database) { return store::history(database, question->serial, kHistoryMax, false); });
    } catch (const std::exception& error) {
      why = reason_of(error);
    }
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      question->answer = std::move(answer);
      question->why = why;
      question->answered = true;
    }
    news_.notify_all();
  }
}

std::vector<store::Alert> Archive::alerts() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return alerts_;
}

// A store that does not answer leaves what was known; the courier, or whoever asks next, tells of it.
void Archive::watch() {
  using std::chrono::steady_clock;
  for (bool more = true; more;) {
    const auto begun = steady_clock::now();
    store::Filter filter;
    filter.since_ms = std::chrono::floor<milliseconds>(record::Clock::now() - kWatched).time_since_epoch().count();
    std::optional<std::vector<store::Alert>> found;
    try {
      found = asked([&](store::Database* database) { return store::standing_alerts(database, filter, {}); });
    } catch (const std::exception&) {
    }
    const auto same = [](const store::Alert& a, const store::Alert& b) { return a.kind == b.kind && a.text == b.text; };
    bool changed = false;
    std::unique_lock<std::mutex> lock(mutex_);
    if (found) {
      changed = !std::equal(found->begin(), found->end(), alerts_.begin(), alerts_.end(), same);
      alerts_ = std::move(*found);
    }
    if (changed) {
      lock.unlock();
      changed_();
      lock.lock();
    }
    const auto pause = std::max<steady_clock::duration>(kBetweenLooks, kLookShare * (steady_clock::now() - begun));
    work_.wait_for(lock, pause, [this] { return leaves_; });
    more = !leaves_;
  }
}

std::optional<std::vector<store::StoredRun>> Archive::history(const std::string& serial, std::string* why) {
  if (!keeper_) return std::vector<store::StoredRun>();
  const auto question = std::make_shared<Question>();
  question->serial = serial;
  std::unique_lock<std::mutex> lock(mutex_);
  questions_.push_back(question);
  work_.notify_all();
  if (news_.wait_for(lock, kScanWaits, [&] { return question->answered; })) {
    *why = question->why;
    return std::move(question->answer);
  }
  *why = "the store did not answer in time";
  return {};
}

std::vector<record::Run> Archive::runs_since(record::Clock::time_point since) {
  std::vector<record::Run> out;
  if (!keeper_) return out;
  const auto attempt = [](auto&& work) {
    try {
      work();
    } catch (const std::exception& error) {
      complain(std::string("the runs before are not all known: ") + reason_of(error));
    }
  };
  attempt([&] {
    asked([&](store::Database* database) {
      for (auto& stored : store::runs_at(database, settings_.station, since)) out.push_back(std::move(stored.run));
      return true;
    });
  });
  if (!keeper_->has_spool()) return out;
  attempt([&] {
    store::Spool spool(keeper_->spool_file());
    for (auto entry = spool.next(""); entry; entry = spool.next(entry->id)) {
      record::Run run = record::read_run(entry->record);
      if (run.station == settings_.station && run.ended() >= since) out.push_back(std::move(run));
    }
  });
  return out;
}

}  // namespace factory::station
