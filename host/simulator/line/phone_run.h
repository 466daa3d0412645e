// Runs a plan on one simulated phone at a simulated station, as fast as it goes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "phone/options.h"
#include "record/record.h"
#include "run/plan.h"

namespace factory::line {

struct PhoneJob {
  uint64_t seed = 0;      // of the phone
  std::string directory;  // of the phone, absolute; made at its first use
  std::string profile;
  std::string fault;  // empty: none
  std::string serial;
  std::string station;
  uint64_t station_seed = 0;
};

struct PhoneRun {
  record::Run record;  // without the run's id
  bool interrupted = false;
};

// Leaves the process in the phone's directory. Throws AppError.
PhoneRun run_phone(const plan::Plan& plan, const PhoneJob& job);

// Serial number of the phone that is drawn from a seed.
std::string serial_of(uint64_t seed);
// Name and seed of the stations, counted from 0.
std::string station_name(int station);
uint64_t station_seed(uint64_t seed, int station);

// Tags of the sensors that the plan calibrates and verifies.
std::vector<std::string> sensors_of(const plan::Plan& plan);

// The plan that is meant where none is named.
plan::Plan usual_plan();

// A shipped profile's name as it is, a file's made absolute; empty for the usual one.
std::string absolute_profile(const std::string& profile);

}  // namespace factory::line
