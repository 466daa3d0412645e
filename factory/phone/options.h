// How a phone is opened.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/command.h"
#include "files/app_error.h"

namespace factory {

class Asker;

struct Options : CommonOptions {
  std::string phone;  // empty: $SENSORCAL_PHONE, else ./phone
  std::optional<uint64_t> seed;
  std::string speed = "1";
  std::string fixture;              // "simulated" or "operator"; empty: as this build's phones have it
  std::vector<std::string> world;   // KEY=VALUE
  std::vector<std::string> replay;  // TAG=FILE[,key=value]...
  std::vector<std::string> fault;   // NAME[:ARGUMENTS]
  std::optional<uint64_t> station;  // a simulated fixture's own errors are drawn from it; without it there are none
  std::string log;                  // file of the log lines
  std::string hub_log;              // file of the hub messages
  std::string max_equal;            // lux above which both panel levels must differ
  std::string record;               // folder for a recording of the run
  std::string recording;            // folder of one to replay
  std::shared_ptr<Asker> asker;     // of an operator; none: the terminal
  bool makes_phone = true;          // where there is none, without a profile or a seed
};

// Sensor time over real time.
inline double pace_of(const Options& options) {
  return options.speed == "max" ? std::numeric_limits<double>::infinity() : std::strtod(options.speed.c_str(), nullptr);
}

}  // namespace factory
