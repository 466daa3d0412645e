// Moves the world while a plan runs, behind the back of the fixture and of whoever judges by it. It stands between the
// sensor service and its clients and counts what is delivered, so that a movement begins and ends with the same event
// in every run of the same phone.
#pragma once

#include <host/no_direct_channels.h>

#include <memory>
#include <vector>

#include "phone/session.h"
#include "population.h"

namespace acceptance {

class EventCounter;

class Mover {
 public:
  // From now on library and application get their events through this. Nothing may be enabled yet.
  Mover(factory::Session& session, const std::vector<Movement>& movements);
  ~Mover();
  Mover(const Mover&) = delete;
  Mover& operator=(const Mover&) = delete;

  // Ends all movements.
  void rest();

 private:
  const std::shared_ptr<EventCounter> counter_;
};

}  // namespace acceptance
