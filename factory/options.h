// What every command understands, and how the program ends.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace factory {

enum ExitCode : int {
  kPassed = 0,
  kFailed = 1,         // a check failed
  kUsage = 2,          // the command line, a file or a value named on it
  kUnreachable = 3,    // the phone or one of its services
  kDiffers = 4,        // a replay left its recording, or its record differs
  kInterrupted = 130,  // ended by Ctrl-C, as shells have it
};

// Ends the command with a message for the operator.
class AppError : public std::runtime_error {
 public:
  AppError(ExitCode exit_code, const std::string& text) : std::runtime_error(text), code(exit_code) {}
  const ExitCode code;
};

struct Options {
  std::string phone;  // empty: $SENSORCAL_PHONE, else ./phone
  std::string profile;
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
  std::string record;               // folder for a recording of the run; begun
  std::string recording;            // folder of one to replay
  bool json = false;
};

}  // namespace factory
