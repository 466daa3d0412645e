// One station of a simulated line: a process of its own, that is told phone by phone what to do.
#pragma once

#include <cstdint>
#include <string>

namespace factory::line {

// What a station knows. It comes as the first line on its standard input: the store's address may hold a password.
struct StationTask {
  int station = 0;  // from 0
  uint64_t seed = 0;
  double fault_rate = 0;
  std::string plan_file, plan_bytes;
  std::string profile;
  std::string store;
  std::string spool;   // of this station
  std::string folder;  // for its phones
  double patience_s = 0;
};

std::string to_line(const StationTask& task);

// The rest of the lines are phones, {"number": 7, "id": "..."}, each answered by {"number": 7, "verdict": "passed"} on
// standard output once its run is kept. At the end of the input the station brings up what waits, says how much still
// does, {"waiting": 0}, and is done. Returns the process's exit code.
int run_station();

}  // namespace factory::line
