// Where a store is, and what goes wrong with it, in words for the operator.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

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
  std::string place;                 // the file, absolute; or what the server's client library connects to
  std::string shown;                 // for people: without a password
  std::vector<std::string> secrets;  // never to be told, whoever tells something about the place
};

// "sqlite:FILE", "postgresql://..." or a file's name. Throws AppError.
Uri parse_uri(const std::string& text);

// Below $XDG_STATE_HOME, else ~/.local/state; made where it is missing. Throws AppError.
std::string state_folder();

// The file in it that keeps runs until the server has them.
std::string default_spool(const Uri& uri);

}  // namespace factory::store
