// The stations of a simulated line: started, fed with phones, started again where one dies.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "line/station.h"

namespace factory::line {

struct LineResult {
  uint64_t phones = 0;  // that were to be run
  uint64_t passed = 0, failed = 0, errors = 0;
  uint64_t given_up = 0;  // their stations died over them again and again
  int restarts = 0;
  int waiting = 0;  // runs in the stations' spools
  double seconds = 0;
  bool interrupted = false;

  uint64_t done() const { return passed + failed + errors; }
};

class WorkerPool {
 public:
  // `task`: what all stations have in common; `spools`: the folder for their spools. Nothing is started yet.
  WorkerPool(const StationTask& task, const std::string& spools, int stations, uint64_t phones);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Runs all phones. `tell` is called a few times a second. Throws AppError where the stations do not start at all.
  LineResult run(const std::atomic<bool>& interrupted, const std::function<void(const LineResult&)>& tell);

 private:
  // A phone is handed out with its run's id: whoever runs it a second time, after a station died that had kept it but
  // did not come to say so, stores nothing new.
  struct Phone {
    uint64_t number = 0;
    std::string id;
    int tries = 0;
  };
  struct Worker {
    int station = 0;
    pid_t pid = -1;
    int to = -1, from = -1;
    std::string unread;
    bool busy = false;
    Phone phone;  // where busy
    bool has_spoken = false;
    bool finished = false;
  };

  void start(Worker* worker);
  void feed(Worker* worker);
  void read(Worker* worker);
  void take(Worker* worker, const std::string& line);
  void died(Worker* worker);
  void close_pipes(Worker* worker);
  bool next_phone(Phone* phone);
  bool wait(int timeout_ms);
  void end_all();

  const StationTask task_;
  const std::string spools_;
  std::vector<Worker> workers_;
  uint64_t next_ = 0;
  int silent_deaths_ = 0;  // in a row, without a word
  bool stopping_ = false;
  LineResult result_;
};

// A station's spool in the folder.
std::string spool_of(const std::string& spools, int station);

}  // namespace factory::line
