#include "simulator/tape_recorder.h"

#include <errno.h>
#include <fcntl.h>
#include <host/device_root.h>
#include <host/property_store.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "files/json_text.h"
#include "files/write_all.h"
#include "phone/recording.h"
#include "simulator/stand_ins.h"
#include "simulator/tape_words.h"

namespace factory {
namespace tape {
namespace {

using std::chrono::milliseconds;

// For a delivery under way. The client may hold a lock that the delivery waits for: then it goes first after all.
constexpr milliseconds kPatience(5);
constexpr milliseconds kLongPatience(200);  // of a client that holds nothing

thread_local int t_queue = 0;  // whose delivery this thread is in
thread_local bool t_calls = false;
thread_local bool t_acts = false;  // in an event's delivery: something was called

}  // namespace

Recorder::Recorder(std::string folder, const std::string& device_root)
    : folder_(std::move(folder)), running_(std::this_thread::get_id()), files_(device_root), acted_(Clock::now()) {
  const std::string file = folder_ + "/tape.jsonl";
  Json::Value head;
  head["format"] = kRecordingFormat;
  try {
    std::filesystem::create_directories(folder_ + "/root");
    head["unwritable"] = to_json(files_.copy_to(folder_ + "/root"));
  } catch (const std::filesystem::filesystem_error& error) {
    throw AppError(kUsage, std::string("--record: ") + error.what());
  }
  head["properties"] = Json::Value(Json::objectValue);
  for (const auto& [name, value] : host::all_properties()) head["properties"][name] = value;
  fd_ = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0644);
  if (fd_ < 0 || !write_all(fd_, json_line(head) + "\n"))
    throw AppError(kUsage, "--record " + file + ": " + strerror(errno));
  phone_ = host::on_device_path({});
  host::on_device_path([this] { before_open(); });
}

Recorder::~Recorder() {
  host::on_device_path(phone_);
  if (fd_ >= 0) close(fd_);
}

void Recorder::before_open() {
  call("files", Json::nullValue, [&] {
    files_.look();
    if (phone_) phone_();
    files_.look();
    return files_.changed();
  });
}

std::string Recorder::who() const {
  return t_queue != 0 ? queue_name(t_queue) : std::this_thread::get_id() == running_ ? kRunning : kWatcher;
}

bool Recorder::inside_call() const { return t_calls; }

void Recorder::write(const std::string& by, const std::string& what, const Json::Value& with) {
  if (over_ || fd_ < 0) return;
  if (write_all(fd_, to_line({by, what, with}))) return;
  std::cerr << "sensorcal: the recording " << folder_ << " ends here: " << strerror(errno) << "\n";
  close(fd_);
  fd_ = -1;
}

// A client's act comes between two deliveries. From here to client_acted() none begins.
void Recorder::client_acts(Lock* lock, milliseconds patience) {
  if (t_queue != 0) {
    t_acts = true;
    return;
  }
  ++clients_;
  changed_.wait_for(*lock, patience, [this] { return deliveries_ == 0; });
}

void Recorder::client_acted() {
  if (t_queue != 0) return;
  --clients_;
  roused_ = false;
  acted_ = Clock::now();
  changed_.notify_all();
}

void Recorder::note(const std::string& what, const Json::Value& with) {
  Lock lock(mutex_);
  client_acts(&lock, kPatience);
  write(who(), what, with);
  client_acted();
}

Json::Value Recorder::call(const char* name, const Json::Value& request, const std::function<Json::Value()>& real) {
  if (t_calls) return real();
  Json::Value with;
  with["name"] = name;
  if (!request.isNull()) with["of"] = request;
  const bool counts = t_queue == 0;
  {
    Lock lock(mutex_);
    client_acts(&lock, kPatience);
    write(who(), kCall, with);
    calls_ += counts ? 1 : 0;
    client_acted();
  }
  t_calls = true;
  const Json::Value answer = real();
  t_calls = false;
  Lock lock(mutex_);
  calls_ -= counts ? 1 : 0;
  client_acts(&lock, kPatience);
  write(who(), kAnswer, answer);
  client_acted();
  return answer;
}

void Recorder::event_begins(int queue, const SensorEvent& event) {
  Lock lock(mutex_);
  const auto roused_until = Clock::now() + milliseconds(kRousedMs);
  while (!over_) {
    const auto now = Clock::now();
    if (clients_ == 0 && roused_ && now < roused_until) {
      changed_.wait_until(lock, roused_until);
    } else if (clients_ == 0 && calls_ == 0 && now < acted_ + milliseconds(kSettleMs)) {
      changed_.wait_until(lock, acted_ + milliseconds(kSettleMs));
    } else if (clients_ == 0) {
      break;
    } else {
      changed_.wait(lock);
    }
  }
  ++deliveries_;
  t_queue = queue;
  t_acts = false;
  write(who(), kEvent, to_json(event));
}

void Recorder::event_ends(int /*queue*/) {
  const Lock lock(mutex_);
  write(who(), kDelivered);
  t_queue = 0;
  --deliveries_;
  roused_ |= t_acts;  // what calls from within a delivery has woken its client
  changed_.notify_all();
}

void Recorder::queue_closes(int queue) { note(kClosed, queue); }

int64_t Recorder::time_ns(int64_t measured) {
  note(kTime, static_cast<Json::Int64>(measured));
  return measured;
}

bool Recorder::look(bool interrupted) {
  if (std::this_thread::get_id() != running_) return interrupted;
  {
    const Lock lock(mutex_);
    if (!found_) ++looks_;
    if (found_ || !interrupted) return interrupted;
    found_ = true;
  }
  note(kLook, static_cast<Json::Int64>(looks_));
  return true;
}

Chronicle::WaitEnd Recorder::end_wait(WaitEnd seen, const std::function<void()>& close) {
  if (seen == WaitEnd::going_on) return seen;
  Lock lock(mutex_);
  client_acts(&lock, kLongPatience);
  lock.unlock();
  close();
  lock.lock();
  write(who(), kWait, static_cast<int>(seen));
  client_acted();
  return seen;
}

bool Recorder::interrupt() {
  const Lock lock(mutex_);
  write(kSignal, kInterrupt);
  return true;
}

// Written down with the library's mutex held: the running thread is in its wait then, or has not come to it.
void Recorder::wake(pthread_mutex_t* mutex, pthread_cond_t* condition) {
  Lock lock(mutex_);
  client_acts(&lock, kPatience);
  lock.unlock();
  pthread_mutex_lock(mutex);
  lock.lock();
  write(kSignal, kWake);
  lock.unlock();
  pthread_cond_broadcast(condition);
  pthread_mutex_unlock(mutex);
  lock.lock();
  client_acted();
  roused_ = true;
}

// Only who gets it is written down.
bool Recorder::claim(std::atomic<bool>* claimed) {
  Lock lock(mutex_);
  if (*claimed) return false;
  client_acts(&lock, kPatience);
  const bool won = !claimed->exchange(true);
  if (won) write(who(), kClaim);
  client_acted();
  return won;
}

void Recorder::line_begins() {
  if (t_queue != 0) return;
  Lock lock(mutex_);
  client_acts(&lock, kPatience);
  write(who(), kLine);
}

void Recorder::line_ends() {
  if (t_queue != 0) return;
  const Lock lock(mutex_);
  client_acted();
}

// The record is there before the tape says that it ended.
void Recorder::end(const Json::Value& record) {
  {
    const Lock lock(mutex_);
    if (over_) return;
  }
  std::ofstream out(folder_ + "/record.json", std::ios::binary);
  out << json_pretty(record) << "\n";
  out.close();
  if (!out) std::cerr << "sensorcal: " << folder_ << "/record.json: " << strerror(errno) << "\n";
  Lock lock(mutex_);
  client_acts(&lock, kPatience);
  if (out) write(who(), kEnd);
  client_acted();
  over_ = true;
}

}  // namespace tape

std::unique_ptr<Fixture> record_fixture(std::unique_ptr<Fixture> phone, const std::string& folder) {
  auto recorder = std::make_unique<tape::Recorder>(folder, phone->device_root());
  const std::string root = phone->device_root();
  return std::make_unique<tape::FixtureStandIn>(std::move(phone), std::move(recorder), root);
}

}  // namespace factory
