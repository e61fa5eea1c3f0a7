#pragma once

#include <cstdint>
#include <vector>

namespace vantile {

// Reduces an audio track to the loudest absolute sample of each of `bucketCount` equal
// stretches of `duration` seconds, fed in pieces as it is decoded. Samples past the
// duration are dropped; stretches no sample reached stay 0.
class WaveformPeaks {
public:
    WaveformPeaks(double duration, int sampleRate, int bucketCount);

    // `count` frames of `channels` interleaved samples, the first at index `firstFrame` of the track.
    void add(std::int64_t firstFrame, const float* samples, int count, int channels);

    // Each stretch's peak, clipped to [0, 1].
    const std::vector<float>& peaks() const { return peaks_; }

private:
    std::vector<float> peaks_;
    double framesPerBucket_ = 1;
};

}  // namespace vantile
