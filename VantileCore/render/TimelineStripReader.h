#pragma once

#include <QImage>

#include <atomic>
#include <filesystem>
#include <vector>

namespace vantile {

// What the timeline draws under its blocks: small pictures of the raw movie along the
// recording's time axis, and the loudness of each of its audio tracks.
struct TimelineStrip {
    // Picture i shows the frame at thumbnailTimes[i], the middle of the i-th of equal stretches.
    std::vector<QImage> thumbnails;
    std::vector<double> thumbnailTimes;
    // One list per audio stream, in stream order: the peak of each equal stretch, 0..1.
    std::vector<std::vector<float>> waveforms;

    bool operator==(const TimelineStrip&) const = default;
};

struct TimelineStripRequest {
    double duration = 0;  // the recording's length, which the strip spans
    int thumbnailCount = 16;
    int thumbnailHeight = 54;
    int peaksPerTrack = 600;

    bool operator==(const TimelineStripRequest&) const = default;
};

// Decodes the strip of `movie` (slow: seeks for every picture and reads every audio packet,
// so call it off the main thread). Pictures that cannot be decoded stay null; a missing or
// unreadable movie gives an empty strip. `cancelled` stops the work early.
TimelineStrip readTimelineStrip(const std::filesystem::path& movie, const TimelineStripRequest& request,
                                const std::atomic<bool>* cancelled = nullptr);

}  // namespace vantile
