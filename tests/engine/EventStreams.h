#pragma once

// Generated input streams for the engine: adversarial random ones that hit thresholds exactly,
// and a realistic demo session (120 Hz glides, clicks, drags, scroll and typing bursts).

#include "model/InputEvent.h"

#include <cstdint>
#include <vector>

namespace vantile::testing {

struct RandomStreamOptions {
    std::size_t eventCount = 300;
    double duration = 30;
    double width = 1920;
    double height = 1080;
    // Times on a 0.05 s grid make density windows, gaps and press frames land exactly on their limits.
    bool gridTimes = true;
    bool shuffled = true;
};

std::vector<InputEvent> randomStream(std::uint64_t seed, const RandomStreamOptions& options);

std::vector<InputEvent> demoSession(double seconds, double width, double height, std::uint64_t seed);

}  // namespace vantile::testing
