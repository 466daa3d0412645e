// What goes wrong with a store, in words for the operator.
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

}  // namespace factory::store
