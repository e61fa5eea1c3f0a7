#pragma once

// A realistic generated demo session (120 Hz glides, clicks, drags, scroll and typing bursts).

#include "model/InputEvent.h"

#include <cstdint>
#include <vector>

namespace vantile::testing {

std::vector<InputEvent> demoSession(double seconds, double width, double height, std::uint64_t seed);

}  // namespace vantile::testing
