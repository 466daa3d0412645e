#include "station/archive.h"

#include <algorithm>
#include <utility>

#include "cli/terminal.h"
#include "files/app_error.h"
#include "files/whole_file.h"
#include "record/record_json.h"
#include "store/patience.h"
#include "store/schema.h"
#include "store/spool.h"
#include "store/stored_run.h"
#include "store/stored_text.h"

namespace factory::station {
namespace {

using std::chrono::milliseconds;

constexpr double kAskSeconds = 3;             // that the store has for an answer
constexpr milliseconds kScanWaits{4000};      // that a scan waits for it
constexpr milliseconds kBetweenTries{10000};  // while the store is away
constexpr milliseconds kSoon{2000};           // within which a store takes a run, if it works
constexpr double kPatienceSeconds = 10;       // that the server has for one run
constexpr std::chrono::hours kWatched{30 * 24};
constexpr std::chrono::seconds kBetweenLooks{60};
constexpr int kLookShare = 50;    // of the time: a look at many runs is made less often
constexpr int kHistoryMax = 200;  // runs of one phone that are looked at

// Does the work, and says why it could not be done; empty: it was.
template <typename Work>
std::string problem_of(Work work) {
  try {
    work();
    return "";
  } catch (const std::exception& error) {
    return reason_of(error);
  }
}

}  // namespace

Archive::Archive(const Settings& settings, std::shared_ptr<record::Sink> files, std::function<void()> changed)
    : settings_(settings), files_(std::move(files)), changed_(std::move(changed)) {
  if (!settings.store.empty()) keeper_.emplace(settings.store, settings.spool, settings.samples);
  if (keeper_ || files_) open_journal();
  brings_ = keeper_ && keeper_->has_spool();
  if (journal_) writer_ = std::thread([this] { write(); });
  reader_ = std::thread([this] { look_up(); });
  if (keeper_) watcher_ = std::thread([this] { watch(); });
  if (brings_) courier_ = std::thread([this] { bring_up(); });
}

void Archive::open_journal() {
  const std::string where = keeper_ ? store::parse_uri(settings_.store).shown : settings_.folder;
  const std::string state = store::state_folder();
  journal_.emplace(state + "/station-" + store::sha256(settings_.station + "\n" + where).substr(0, 16));
  for (const std::string& folder : journals_left(journal_->folder()))
    complain("runs of other settings may wait: `sensorcal store import " + folder + "/*.json`");
  for (const std::string& id : journal_->ended()) ended_[id] = {};
  for (const std::string& id : journal_->unstored()) ended_[id] = {};
  for (const record::Run& run : journal_->cut_off()) {
    const std::string text = run.serial + ": the station ended before this run did: nothing is known of it";
    complain(text);
    cut_off_.push_back({"cut-off", run.serial, text, {run.serial}, 0});
  }
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

bool Archive::has_room() {
  if (!journal_) return true;
  const std::string problem = problem_of([this] { journal_->try_disk(); });
  set_unkept("", problem);
  return problem.empty();
}

void Archive::begin(const record::Run& trace) {
  if (!journal_) return;
  std::string problem = problem_of([&] { journal_->begin(trace); });
  if (!problem.empty()) problem = "run " + trace.id + " leaves no trace if the station is killed: " + problem;
  set_unkept(trace.id, problem);
}

bool Archive::keep(record::Run run) {
  if (!journal_) return true;
  store::hash_plan(&run);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_.emplace(run.id, Steady::now());
  }
  std::string problem = problem_of([&] { journal_->ended(run); });
  if (!problem.empty()) problem = "run " + run.id + " of " + run.serial + " is not on the disk: " + problem;
  // The store may take it at once, in case that the station ends before the disk does.
  if (!problem.empty() && keeper_) {
    const std::string other = problem_of([&] {
      keeper_->keep(run);
      journal_->forget_trace(run.id);
    });
    problem += other.empty() ? "; the store has it" : "; nor in the store: " + other;
  }
  set_unkept(run.id, problem);
  if (!problem.empty()) return false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    fresh_ = brings_ = true;
  }
  work_.notify_all();
  return true;
}

void Archive::set_unkept(const std::string& id, const std::string& problem) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = unkept_.find(id);
    if (found == unkept_.end() ? problem.empty() : found->second == problem) return;
    if (problem.empty()) unkept_.erase(id);
    if (!problem.empty()) unkept_[id] = problem;
    fresh_ = true;
  }
  work_.notify_all();
  if (!problem.empty()) complain(problem);
  changed_();
}

void Archive::set_problem(std::string Archive::*which, const std::string& problem) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (this->*which == problem) return;
    this->*which = problem;
  }
  if (!problem.empty()) complain(problem);
  changed_();
}

Archive::Status Archive::status() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Status out;
  const auto long_ago = Steady::now() - kSoon;
  out.waiting = spooled_.waiting + static_cast<int>(std::count_if(ended_.begin(), ended_.end(), [&](const auto& run) {
                  return run.second < long_ago;
                }));
  const std::string unkept = unkept_.empty() ? "" : unkept_.rbegin()->second;
  const std::pair<const char*, const std::string*> problems[] = {{"run-unkept", &unkept},
                                                                 {"store-refuses", &unstored_},
                                                                 {"store-away", &spooled_.problem},
                                                                 {"store-refuses", &unseen_}};
  for (const auto& [code, problem] : problems) {
    if (problem->empty()) continue;
    if (out.code.empty()) out.code = code;
    out.problem += (out.problem.empty() ? "" : "; ") + *problem;
  }
  return out;
}

void Archive::write() {
  for (bool all = true;;) {
    bool full = false;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      const auto is_due = [this] { return fresh_ || leaves_; };
      all ? work_.wait(lock, is_due) : (void)work_.wait_for(lock, kBetweenTries, is_due);
      if (leaves_ && !fresh_) return;
      fresh_ = false;
      full = unkept_.count("") != 0;
    }
    all = deliver();
    if (full) all &= has_room();
    changed_();
  }
}

void Archive::report(const record::Run& run) {
  if (files_ && !files_->write(run, {}))
    throw AppError(kUnreachable, "no report of " + run.serial + ", run " + run.id + "; standard error has why");
}

// What has ended goes to pages and their kin, and to the store, the oldest first; without a store what has no page
// waits for it. False: something still does.
bool Archive::deliver() {
  std::string problem;
  bool all = true;
  const auto begun = Steady::now();
  // False: nor would the next one go.
  const auto attempt = [&](const std::string& what, auto&& work) {
    const std::string why = problem_of(work);
    if (why.empty()) return true;
    if (problem.empty()) problem = what + why;
    all = false;
    return Steady::now() < begun + kSoon;
  };
  for (const std::string& id : journal_->ended()) {
    const bool more = attempt("", [&] {
      report(journal_->read(id));
      journal_->told(id);
    });
    if (!more) break;
  }
  const std::vector<std::string> told = journal_->unstored();
  std::vector<std::string> ids = told;
  if (keeper_) {
    for (const std::string& id : journal_->ended()) ids.push_back(id);
  }
  for (const std::string& id : ids) {
    const bool more = attempt("run " + id + " was not stored: ", [&] {
      if (keeper_ && stored_.count(id) == 0) keeper_->keep(journal_->read(id));
      stored_.insert(id);
      if (std::binary_search(told.begin(), told.end(), id)) {
        journal_->drop(id);
        stored_.erase(id);
      }
      const std::lock_guard<std::mutex> lock(mutex_);
      ended_.erase(id);
      brings_ = true;
    });
    if (!more) break;
  }
  work_.notify_all();
  set_problem(&Archive::unstored_, problem);
  return all;
}

// With a spool of its own: a server that is slow to answer keeps no run from its disk.
void Archive::bring_up() {
  for (bool more = true; more;) {
    const std::string problem = problem_of([this] {
      store::Spool spool(keeper_->spool_file());
      const store::Brought brought = store::bring_up(&spool, store::parse_uri(settings_.store), kPatienceSeconds);
      tell(brought.away.empty() && !brought.refused.empty() ? brought.refused.front() : brought.away, brought.waiting);
    });
    if (!problem.empty()) tell(problem, -1);
    std::unique_lock<std::mutex> lock(mutex_);
    brings_ = false;
    work_.wait_for(lock, kBetweenTries, [this] { return leaves_ || brings_; });
    more = !leaves_;
  }
}

// -1: as many as before.
void Archive::tell(const std::string& problem, int waiting) {
  bool is_new = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (waiting < 0) waiting = spooled_.waiting;
    if (spooled_.problem == problem && spooled_.waiting == waiting) return;
    is_new = !problem.empty() && spooled_.problem != problem;
    spooled_.waiting = waiting;
    spooled_.problem = problem;
  }
  if (is_new) complain(problem);
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
    const std::string why = problem_of([&] {
      answer = asked(
          [&](store::Database* database) { return store::history(database, question->serial, kHistoryMax, false); });
    });
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
  std::vector<store::Alert> out = cut_off_;
  out.insert(out.end(), alerts_.begin(), alerts_.end());
  return out;
}

// A store that does not answer leaves what was known. Of a server the courier tells.
void Archive::watch() {
  using std::chrono::steady_clock;
  for (bool more = true; more;) {
    const auto begun = steady_clock::now();
    store::Filter filter;
    filter.since_ms = std::chrono::floor<milliseconds>(record::Clock::now() - kWatched).time_since_epoch().count();
    std::optional<std::vector<store::Alert>> found;
    const std::string problem = problem_of([&] {
      found = asked([&](store::Database* database) { return store::standing_alerts(database, filter, {}); });
    });
    if (found || !keeper_->has_spool()) set_problem(&Archive::unseen_, problem);
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
  std::map<std::string, record::Run> found;
  if (!keeper_) return {};
  const auto attempt = [](auto&& work) {
    const std::string problem = problem_of(work);
    if (!problem.empty()) complain("the runs before are not all known: " + problem);
  };
  // In the order in which a run goes from one to the next, or it could be missed in both. What is stored counts.
  for (const auto& ids : {journal_->ended(), journal_->unstored()}) {
    for (const std::string& id : ids) attempt([&] { found[id] = journal_->read(id); });
  }
  attempt([&] {
    if (!keeper_->has_spool()) return;
    store::Spool spool(keeper_->spool_file());
    for (auto entry = spool.next(""); entry; entry = spool.next(entry->id)) {
      record::Run run = record::read_run(entry->record);
      if (run.station == settings_.station) found[entry->id] = std::move(run);
    }
  });
  attempt([&] {
    asked([&](store::Database* database) {
      for (auto& stored : store::runs_at(database, settings_.station, since))
        found[stored.run.id] = std::move(stored.run);
      return true;
    });
  });
  std::vector<record::Run> out;
  for (auto& [id, run] : found) {
    if (run.ended() >= since) out.push_back(std::move(run));
  }
  return out;
}

}  // namespace factory::station
