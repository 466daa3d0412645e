// How far the fixture of one simulated station is off what it says.
#pragma once

#include <cstdint>

#include "phone/core/world.h"

namespace factory {

// The world as the station makes it when it means to make the other: a table that is not quite level, a lamp and a
// pressure that are not quite right. Always the same for one seed.
phone::World as_built(const phone::World& meant, uint64_t station_seed);

}  // namespace factory
