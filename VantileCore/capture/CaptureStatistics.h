#pragma once

#include <cstdint>

namespace vantile {

// How well a recording kept up with its frame clock.
struct CaptureStatistics {
    std::int64_t capturedFrames = 0;     // frames handed to the encoder
    std::int64_t droppedFrames = 0;      // ticks with no frame: capture late or encoder queue full
    std::int64_t encoderBusyDrops = 0;   // the part of droppedFrames lost to a full encoder queue
    std::int64_t encodedFrames = 0;      // frames the writer accepted
    std::int64_t droppedAudioChunks = 0; // audio heard before the first frame is not counted

    bool operator==(const CaptureStatistics&) const = default;
};

}  // namespace vantile
