// How a program ends that judged a phone: by the verdict, and by whether all that was asked for (record, log, pages,
// store) could be delivered, which is told where it could not. What waits in a spool is delivered.
#pragma once

#include <exception>

#include "cli/terminal.h"
#include "files/app_error.h"
#include "files/whole_file.h"
#include "record/record.h"

namespace factory::record {

constexpr ExitCode exit_code(Outcome verdict, bool delivered) {
  switch (verdict) {
    case Outcome::passed:
    case Outcome::marginal:
      return delivered ? kPassed : kUnreachable;
    case Outcome::failed:
      return kFailed;
    case Outcome::aborted:
      return kInterrupted;
    case Outcome::skipped:
    case Outcome::error:
      break;
  }
  return kUnreachable;
}

// False: it threw, which is told after `what`.
template <typename Deliver>
bool delivered(const std::string& what, const Deliver& deliver) {
  try {
    deliver();
    return true;
  } catch (const std::exception& error) {
    complain(what + reason_of(error));
    return false;
  }
}

}  // namespace factory::record
