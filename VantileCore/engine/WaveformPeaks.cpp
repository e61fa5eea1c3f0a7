#include "engine/WaveformPeaks.h"

#include <algorithm>
#include <cmath>

namespace vantile {

WaveformPeaks::WaveformPeaks(double duration, int sampleRate, int bucketCount)
    : peaks_(static_cast<std::size_t>(std::max(bucketCount, 0)), 0.0F)
{
    const double frames = std::max(duration, 0.0) * std::max(sampleRate, 1);
    framesPerBucket_ = std::max(frames / std::max(bucketCount, 1), 1e-9);
}

void WaveformPeaks::add(std::int64_t firstFrame, const float* samples, int count, int channels)
{
    if (peaks_.empty() || !samples || count <= 0 || channels <= 0) return;
    for (int frame = 0; frame < count; ++frame) {
        const auto bucket = static_cast<std::int64_t>(static_cast<double>(firstFrame + frame) / framesPerBucket_);
        if (bucket < 0) continue;
        if (bucket >= static_cast<std::int64_t>(peaks_.size())) return;
        float& peak = peaks_[static_cast<std::size_t>(bucket)];
        for (int channel = 0; channel < channels; ++channel) {
            const float value = std::fabs(samples[static_cast<std::size_t>(frame) * static_cast<std::size_t>(channels) +
                                                 static_cast<std::size_t>(channel)]);
            // A NaN from a broken decode must not poison the picture.
            if (value > peak) peak = std::min(value, 1.0F);
        }
    }
}

}  // namespace vantile
