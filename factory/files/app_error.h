// How the program ends, and what ends it early.
#pragma once

#include <stdexcept>
#include <string>

namespace factory {

enum ExitCode : int {
  kPassed = 0,
  kFailed = 1,         // by the phone's fault
  kUsage = 2,          // the command line, a file or a value named on it
  kUnreachable = 3,    // the phone or one of its services; or all is well, and what was asked for was not delivered
  kDiffers = 4,        // a replay left its recording, or its record differs
  kInterrupted = 130,  // ended by a person, as shells have it
};

// Ends the command with a message for the operator.
class AppError : public std::runtime_error {
 public:
  AppError(ExitCode exit_code, const std::string& text) : std::runtime_error(text), code(exit_code) {}
  const ExitCode code;
};

}  // namespace factory
