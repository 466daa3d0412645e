// What the commands that look at kept runs share.
#pragma once

#include <memory>
#include <string>

#include "files/app_error.h"
#include "quality/history.h"

namespace factory {

// What goes wrong with the store ends the command: the server as a service that is away, the rest as a wrong argument.
template <typename Work>
auto guarded(Work work) {
  try {
    return work();
  } catch (const store::AwayError& error) {
    throw AppError(kUnreachable, error.what());
  } catch (const store::StoreError& error) {
    throw AppError(kUsage, error.what());
  }
}

std::unique_ptr<store::Database> opened_store(const std::string& uri);

// A run's verdict, and what steps came to; with `full` also those that passed at once.
std::string run_text(const record::Run& run, bool full);

}  // namespace factory
