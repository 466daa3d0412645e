#include "line/station.h"

#include <json/json.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <optional>
#include <thread>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "line/phone_run.h"
#include "simulator/drawn_phone.h"
#include "store/spool.h"
#include "store/store.h"

namespace factory::line {
namespace {

Json::Value parsed(const std::string& line) {
  Json::Value out;
  if (!parse_json(line, &out) || !out.isObject()) throw AppError(kUsage, "a station is started by the line");
  return out;
}

template <typename Task, typename Field>
void each_field(Task& task, Field field) {
  field("station", task.station);
  field("seed", task.seed);
  field("fault_rate", task.fault_rate);
  field("plan_file", task.plan_file);
  field("plan_bytes", task.plan_bytes);
  field("profile", task.profile);
  field("store", task.store);
  field("spool", task.spool);
  field("folder", task.folder);
  field("patience_s", task.patience_s);
}

StationTask to_task(const Json::Value& json) {
  StationTask out;
  each_field(out, [&](const char* name, auto& value) { value = json[name].as<std::decay_t<decltype(value)>>(); });
  return out;
}

// For one run of a server that answers; as a station has it.
constexpr double kPatienceSeconds = 10;
// Runs go up a few at a time: connecting costs more than writing one.
constexpr std::chrono::milliseconds kGather{200};
constexpr std::chrono::milliseconds kBeforeNextTry{300};

// Takes the runs of the station to the store, beside the station's work.
class Uploader {
 public:
  // `spool`: the station's own file, for a server. Throws StoreError.
  Uploader(const store::Uri& uri, const std::string& spool) : uri_(uri) {
    if (!uri_.postgresql) {
      store_.emplace(uri_);
      return;
    }
    spool_.emplace(spool);
    thread_ = std::thread([this] { carry(); });
  }

  ~Uploader() { stop(Clock::now()); }

  // The run is on the disk when this returns, in the store or in the spool. Throws StoreError.
  void keep(const record::Run& run) {
    if (store_) {
      store_->put(run, false);
      return;
    }
    spool_->keep(run, false);
    const std::lock_guard<std::mutex> lock(mutex_);
    more_ = true;
    changed_.notify_all();
  }

  // Brings up what waits, for so long at most where the server is away. How many runs still wait; then it works no
  // more.
  int finish(double patience_s) {
    stop(Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(patience_s)));
    return spool_ ? spool_->waiting() : 0;
  }

 private:
  using Clock = std::chrono::steady_clock;

  // With a connection to the spool of its own: the station need not wait while the server is slow.
  void carry() {
    std::string told;
    try {
      store::Spool spool(spool_->file());
      std::unique_lock<std::mutex> lock(mutex_);
      for (;;) {
        changed_.wait(lock, [this] { return stopping_ || more_; });
        if (!more_) return;
        changed_.wait_for(lock, kGather, [this] { return stopping_; });
        more_ = false;
        lock.unlock();
        const store::Brought brought = bring_up(&spool, uri_, kPatienceSeconds);
        for (const std::string& refused : brought.refused) {
          // One that the server will not take is told once, not at every try.
          if (refused != told) complain("not stored: " + refused);
          told = refused;
        }
        lock.lock();
        if (brought.away.empty()) continue;
        more_ = true;
        if (stopping_ && Clock::now() >= until_) return;
        changed_.wait_for(lock, kBeforeNextTry, [this, was = stopping_] { return stopping_ != was; });
      }
    } catch (const std::exception& error) {
      complain(error.what());
    }
  }

  void stop(Clock::time_point until) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
      until_ = until;
      changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
  }

  const store::Uri uri_;
  std::optional<store::Store> store_;  // a file's
  std::optional<store::Spool> spool_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopping_ = false;    // guarded by mutex_, and so is the following
  Clock::time_point until_;  // when stopping
  bool more_ = true;         // runs may wait
  std::thread thread_;
};

class Station {
 public:
  explicit Station(const StationTask& task)
      : task_(task),
        plan_(plan::parse_plan(task.plan_file, task.plan_bytes, &problems_)),
        sensors_(sensors_of(plan_)),
        uploader_(store::parse_uri(task.store), task.spool) {
    if (!problems_.empty()) throw AppError(kUsage, problems_.front());
  }

  // The phone's verdict, once its run is kept.
  std::string run(uint64_t number, const std::string& id) {
    namespace fs = std::filesystem;
    const std::string directory = task_.folder + "/" + station_name(task_.station);
    const std::string profile_file = directory + "-profile.json";
    // A station that died may have left a phone behind.
    fs::remove_all(directory);
    PhoneJob job;
    job.seed = task_.seed + number;
    job.directory = directory;
    job.profile = task_.profile;
    job.serial = serial_of(job.seed);
    job.station = station_name(task_.station);
    job.station_seed = station_seed(task_.seed, task_.station);
    const auto fault = draw_fault(job.seed, task_.fault_rate, sensors_, task_.profile, profile_file);
    if (fault) {
      job.profile = fault->profile;
      job.fault = fault->fault;
    }
    PhoneRun run = run_phone(plan_, job);
    if (run.interrupted) throw AppError(kInterrupted, "interrupted");
    fs::current_path("/");  // the application stood in the phone
    fs::remove_all(directory);
    run.record.id = id;
    uploader_.keep(run.record);
    return outcome_name(run.record.outcome);
  }

  int finish() { return uploader_.finish(task_.patience_s); }

 private:
  const StationTask task_;
  std::vector<std::string> problems_;
  const plan::Plan plan_;
  const std::vector<std::string> sensors_;
  Uploader uploader_;
};

void answer(const Json::Value& json) { std::cout << json_line(json) << std::endl; }

}  // namespace

std::string to_line(const StationTask& task) {
  Json::Value out;
  each_field(task, [&](const char* name, const auto& value) { out[name] = value; });
  return json_line(out);
}

int run_station() {
  std::string line;
  if (!std::getline(std::cin, line)) throw AppError(kUsage, "a station is started by the line");
  Station station(to_task(parsed(line)));
  while (std::getline(std::cin, line)) {
    const Json::Value phone = parsed(line);
    const std::string verdict = station.run(phone["number"].asUInt64(), phone["id"].asString());
    answer(json_object({{"number", phone["number"]}, {"verdict", verdict}}));
  }
  answer(json_object({{"waiting", station.finish()}}));
  return kPassed;
}

}  // namespace factory::line
