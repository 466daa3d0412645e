// Where a store is, and what goes wrong with it, in words for the operator.
#pragma once

#include <stdexcept>
#include <string>

namespace factory::store {

class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The server cannot be reached, or went away meanwhile: another time it may work.
class AwayError : public StoreError {
 public:
  using StoreError::StoreError;
};

struct Uri {
  bool postgresql = false;
  std::string place;  // the file, absolute; or what the server's client library connects to
  std::string shown;  // for people: without a password
};

// "sqlite:FILE", "postgresql://..." or a file's name. Throws AppError.
Uri parse_uri(const std::string& text);

// The file that keeps runs until the server has them: below $XDG_STATE_HOME, else ~/.local/state. Its folder is made.
std::string default_spool();

}  // namespace factory::store
