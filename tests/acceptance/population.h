// The phones of an acceptance run: each is drawn from its seed alone, so that a miss can be tried again.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/flaw.h"

namespace acceptance {

enum class Population { good, beyond, moved };
inline constexpr Population kPopulations[] = {Population::good, Population::beyond, Population::moved};

const char* name_of(Population population);

// The world changes for a while: from the delivery of one event to that of another, counted from the plan's start.
struct Movement {
  std::string key;
  std::string moved;  // as Fixture::set_world() takes them
  int first = 0;
  int length = 0;
};

struct Case {
  uint64_t number = 0;
  uint64_t seed = 0;  // the phone's, and of everything else that is drawn here
  Population population = Population::good;
  std::string profile;
  std::optional<factory::Flaw> flaw;  // an error of one part that lies a tenth beyond what is allowed
  std::vector<Movement> movements;

  std::string text() const;  // "seed 4711, dov, beyond: Acc bias y 1.1 m/s^2"
};

// Phone `number` of the run that starts at `seed`.
Case make_case(uint64_t seed, uint64_t number);

}  // namespace acceptance
