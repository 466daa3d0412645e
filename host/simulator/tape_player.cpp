#include "simulator/tape_player.h"

#include <host/device_root.h>
#include <host/property_store.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>

#include "files/json_text.h"
#include "phone/recording.h"
#include "simulator/stand_ins.h"
#include "simulator/tape_words.h"

namespace factory {
namespace tape {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Without a step of anybody. The run's own waits for a silent sensor are shorter.
constexpr seconds kStuckFor(150);
constexpr seconds kStuckBetweenFor(30);  // while the running thread is waiting for its turn

// How long somebody is woken who has not come to the wait yet; a machine may be slow.
constexpr seconds kRousingFor(1);

thread_local int t_queue = 0;  // whose delivery this thread is in
thread_local bool t_acts = false;

std::string describe(const std::string& what, const Json::Value* with) {
  constexpr size_t kMost = 300;
  std::string out = what;
  if (with != nullptr && !with->isNull()) out += " " + json_line(*with);
  return out.size() > kMost ? out.substr(0, kMost) + "..." : out;
}

Tape read(const std::string& folder) {
  Tape tape = read_tape(folder + "/tape.jsonl");
  if (tape.head["format"] != kRecordingFormat)
    throw AppError(kUsage, folder + "/tape.jsonl: its format is " + json_line(tape.head["format"]) + ", not \"" +
                               kRecordingFormat + "\"");
  return tape;
}

}  // namespace

Player::Player(const std::string& folder)
    : folder_(folder),
      tape_(read(folder)),
      running_(std::this_thread::get_id()),
      scratch_(folder + "/root", texts_from(tape_.head["unwritable"])),
      files_(scratch_.path()),
      acted_(Clock::now()),
      moved_(acted_) {
  for (size_t i = 0; i < tape_.entries.size(); ++i) ahead_[tape_.entries[i].by].push_back(i);
  host::open_properties("");
  for (const std::string& name : tape_.head["properties"].getMemberNames())
    host::force_property(name, tape_.head["properties"][name].asString());
  host::set_device_root(scratch_.path());
  host::on_device_path([this] { before_open(); });
  signals_ = std::thread([this] { play_signals(); });
}

Player::~Player() {
  host::on_device_path({});
  host::set_device_root("");
  host::open_properties("");
  {
    const Lock lock(mutex_);
    over_ = closing_ = true;
    changed_.notify_all();
  }
  signals_.join();
  for (auto& [number, queue] : queues_) {
    if (queue.thread.joinable()) queue.thread.join();
  }
}

std::string Player::who() const {
  return t_queue != 0 ? queue_name(t_queue) : std::this_thread::get_id() == running_ ? kRunning : kWatcher;
}

const Entry* Player::current() const { return position_ < tape_.entries.size() ? &tape_.entries[position_] : nullptr; }

const Entry* Player::next_of(const std::string& who) const {
  const auto found = ahead_.find(who);
  return found == ahead_.end() || found->second.empty() ? nullptr : &tape_.entries[found->second.front()];
}

void Player::fail(const std::string& text) {
  const std::string line = "\nsensorcal: " + folder_ + ": " + text + "\n";
  scratch_.remove();
  if (::write(STDERR_FILENO, line.data(), line.size()) < 0) _exit(kDiffers);
  _exit(kDiffers);
}

void Player::fail_at(const Entry& expected, const std::string& what, const Json::Value* with) {
  const auto line = static_cast<size_t>(&expected - tape_.entries.data()) + 2;
  fail("the replay leaves the recording at line " + std::to_string(line) + " of tape.jsonl (" + expected.by +
       "): recorded is " + describe(expected.what, &expected.with) + ", now came " + describe(what, with));
}

const Entry* Player::turn(Lock* lock, const std::string& what, const Json::Value* with) {
  if (over_) return nullptr;
  const std::string me = who();
  const Entry* const entry = next_of(me);
  if (entry == nullptr) {
    // Where the tape is whole, the recorded process ended before this thread came so far.
    if (tape_.cut.empty()) {
      lock->unlock();
      for (;;) pause();
    }
    wait_for_turn(lock, tape_.entries.size());
    fail("the recording is cut off: " + tape_.cut);
  }
  if (entry->what != what || (with != nullptr && entry->with != *with)) fail_at(*entry, what, with);
  const bool running = me == kRunning;
  if (running) {
    waits_ = true;
    roused_ = false;
    changed_.notify_all();
  }
  wait_for_turn(lock, static_cast<size_t>(entry - tape_.entries.data()));
  if (running) waits_ = false;
  return over_ ? nullptr : entry;
}

void Player::wait_for_turn(Lock* lock, size_t position) {
  while (position_ != position && !over_) {
    const auto until = moved_ + (waits_ ? kStuckBetweenFor : kStuckFor);
    if (changed_.wait_until(*lock, until) != std::cv_status::timeout || position_ == position || over_) continue;
    if (Clock::now() < moved_ + (waits_ ? kStuckBetweenFor : kStuckFor)) continue;
    if (const Entry* const entry = current()) fail_at(*entry, "nothing", nullptr);
  }
}

// The current entry is done.
void Player::pass() {
  const Entry& entry = tape_.entries[position_];
  ahead_[entry.by].pop_front();
  ++position_;
  moved_ = Clock::now();
  if (entry.by == kRunning || entry.by == kWatcher) acted_ = moved_;
  const Entry* const next = current();
  if (next == nullptr && !tape_.cut.empty()) fail("the recording is cut off: " + tape_.cut);
  if (next == nullptr || next->by != entry.by) changed_.notify_all();
}

const Entry* Player::take(const std::string& what, const Json::Value* with) {
  if (t_queue != 0) t_acts = true;
  Lock lock(mutex_);
  const Entry* const entry = turn(&lock, what, with);
  if (entry != nullptr) pass();
  return entry;
}

Json::Value Player::call(const char* name, const Json::Value& request, const std::function<Json::Value()>& /*real*/) {
  Json::Value with;
  with["name"] = name;
  if (!request.isNull()) with["of"] = request;
  if (take(kCall, &with) == nullptr) return Json::nullValue;
  const Entry* const answer = take(kAnswer);
  return answer == nullptr ? Json::Value() : answer->with;
}

void Player::before_open() { files_.apply(call("files", Json::nullValue, {})); }

int64_t Player::time_ns(int64_t measured) {
  const Entry* const entry = take(kTime);
  return entry == nullptr ? measured : entry->with.asInt64();
}

bool Player::look(bool interrupted) {
  if (std::this_thread::get_id() != running_) return interrupted;
  {
    const Lock lock(mutex_);
    if (found_ || over_) return found_;
    const auto& mine = ahead_[kRunning];
    ++looks_;
    // The look that found it is the next entry of its thread, or comes later.
    const Entry* const entry = mine.empty() ? nullptr : &tape_.entries[mine.front()];
    if (entry == nullptr || entry->what != kLook || entry->with.asInt64() != looks_) return false;
    found_ = true;
  }
  take(kLook);
  return true;
}

Chronicle::WaitEnd Player::end_wait(WaitEnd seen, const std::function<void()>& close) {
  Lock lock(mutex_);
  const Entry* entry = over_ ? nullptr : next_of(kRunning);
  if (over_) {
    lock.unlock();
    close();
    return seen == WaitEnd::going_on ? WaitEnd::interrupted : seen;
  }
  const bool due = entry != nullptr && entry->what == kWait && entry == current();
  if (!due && seen != WaitEnd::complete && (entry == nullptr || entry->what == kWait)) {
    if (Clock::now() > moved_ + kStuckFor) fail_at(*current(), "a wait", nullptr);
    return WaitEnd::going_on;
  }
  entry = turn(&lock, kWait);
  if (entry == nullptr) return WaitEnd::interrupted;
  lock.unlock();
  close();
  lock.lock();
  pass();
  return static_cast<WaitEnd>(entry->with.asInt());
}

// One that nobody recorded comes from a person, who wants the replay to end.
bool Player::interrupt() {
  const Lock lock(mutex_);
  if (interrupted_) {
    interrupted_ = false;
    return true;
  }
  scratch_.remove();
  constexpr char kText[] = "\ninterrupted\n";
  if (::write(STDERR_FILENO, kText, sizeof kText - 1) < 0) _exit(kInterrupted);
  _exit(kInterrupted);
}

// Whoever waits there is woken when the recording says so.
void Player::wake(pthread_mutex_t* mutex, pthread_cond_t* condition) {
  const Lock lock(mutex_);
  library_mutex_ = mutex;
  library_condition_ = condition;
  changed_.notify_all();
}

// Who did not get it then waits for nothing.
bool Player::claim(std::atomic<bool>* claimed) {
  {
    const Lock lock(mutex_);
    const std::string other = who() == kRunning ? kWatcher : kRunning;
    const auto claims = [this](const std::string& side) {
      const auto& ahead = ahead_[side];
      return std::any_of(ahead.begin(), ahead.end(), [this](size_t i) { return tape_.entries[i].what == kClaim; });
    };
    if (over_ || *claimed || claims(other)) return false;
  }
  if (take(kClaim) != nullptr) claimed->store(true);
  return *claimed;
}

void Player::line_begins() {
  if (t_queue != 0) return;
  Lock lock(mutex_);
  (void)turn(&lock, kLine);
}

void Player::line_ends() {
  if (t_queue != 0) return;
  const Lock lock(mutex_);
  if (!over_) pass();
}

void Player::end(const Json::Value& /*record*/) {
  {
    Lock lock(mutex_);
    if (turn(&lock, kEnd) == nullptr) return;
    pass();
    over_ = true;
    changed_.notify_all();
  }
  // Where the watcher ends the run it ends the process too, and nothing is tidied up after it.
  if (who() == kWatcher) scratch_.remove();
}

void Player::queue_opens(int queue, const ::android::sp<IEventQueueCallback>& callback) {
  const Lock lock(mutex_);
  queues_[queue].thread = std::thread([this, queue, callback] { deliver(queue, callback); });
}

void Player::queue_closes(int queue) {
  const Json::Value with = queue;
  take(kClosed, &with);
  std::thread thread;
  {
    const Lock lock(mutex_);
    queues_[queue].closed = true;
    thread = std::move(queues_[queue].thread);
    changed_.notify_all();
  }
  if (thread.get_id() == std::this_thread::get_id()) {
    thread.detach();
  } else if (thread.joinable()) {
    thread.join();
  }
}

// The client comes first; see kSettleMs. False: something may have changed meanwhile.
bool Player::may_deliver(Lock* lock) {
  if (waits_) return true;
  const auto until = roused_ ? roused_at_ + milliseconds(kRousedMs) : acted_ + milliseconds(kSettleMs);
  if (Clock::now() >= until) return true;
  changed_.wait_until(*lock, until);
  return false;
}

void Player::deliver(int queue, const ::android::sp<IEventQueueCallback>& callback) {
  const std::string me = queue_name(queue);
  Lock lock(mutex_);
  while (!queues_[queue].closed && !closing_) {
    const Entry* const entry = over_ ? nullptr : current();
    if (entry == nullptr || entry->by != me) {
      changed_.wait(lock);
      continue;
    }
    if (entry->what != kEvent) fail_at(*entry, "nothing", nullptr);
    if (!may_deliver(&lock)) continue;
    const SensorEvent event = event_from(entry->with);
    pass();
    t_queue = queue;
    t_acts = false;
    lock.unlock();
    (void)callback->onEvent(event).isOk();
    lock.lock();
    if (turn(&lock, kDelivered) != nullptr) pass();
    t_queue = 0;
    if (t_acts) {
      roused_ = !waits_;
      roused_at_ = Clock::now();
      changed_.notify_all();
    }
  }
}

void Player::play_signals() {
  Lock lock(mutex_);
  while (!over_) {
    const Entry* const entry = current();
    if (entry == nullptr || entry->by != kSignal) {
      changed_.wait(lock);
      continue;
    }
    pass();
    if (entry->what == kInterrupt) {
      interrupted_ = true;
      kill(getpid(), SIGINT);
    } else {
      rouse(&lock);
    }
  }
}

// The running thread may still be on its way to the wait that it was woken from.
void Player::rouse(Lock* lock) {
  roused_ = !waits_;
  roused_at_ = Clock::now();
  const auto until = roused_at_ + kRousingFor;
  while (roused_ && !over_ && Clock::now() < until) {
    if (library_mutex_ == nullptr) {
      changed_.wait_until(*lock, until);
      continue;
    }
    pthread_mutex_t* const mutex = library_mutex_;
    pthread_cond_t* const condition = library_condition_;
    lock->unlock();
    Chronicle::wake(mutex, condition);
    std::this_thread::sleep_for(milliseconds(1));
    lock->lock();
  }
}

}  // namespace tape

std::unique_ptr<Fixture> replay_fixture(const std::string& folder) {
  auto player = std::make_unique<tape::Player>(folder);
  const std::string root = player->device_root();
  return std::make_unique<tape::FixtureStandIn>(nullptr, std::move(player), root);
}

}  // namespace factory
