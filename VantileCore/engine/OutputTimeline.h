#pragma once

#include "model/RecordingProject.h"
#include "model/TimeRange.h"

#include <optional>
#include <vector>

namespace vantile {

// The one mapping between output time (the finished movie) and recording time: the kept
// ranges of the recording played back to back. Preview, export, cursor and ripples all ask it.
class OutputTimeline {
public:
    // Kept = the trim (or the whole recording) minus the cuts, clipped to [0, duration].
    OutputTimeline(double recordingDuration, const std::optional<TimeRange>& trim, const std::vector<TimeRange>& cuts);
    explicit OutputTimeline(const RecordingProject& project);

    const std::vector<TimeRange>& keptRanges() const { return kept_; }
    // The output movie's length: the sum of the kept ranges.
    double duration() const { return duration_; }
    // True when output time equals recording time everywhere.
    bool isIdentity() const { return identity_; }

    // The recording time shown at `outputTime`. A cut is a hard cut: the instant where a kept
    // range ends belongs to the next one. Clamped to the first and last kept instant.
    double recordingTime(double outputTime) const;
    // Where `recordingTime` plays in the output; nothing when it was cut or trimmed away.
    std::optional<double> outputTime(double recordingTime) const;
    // The output time of `recordingTime`, or of the next kept instant after it when it was removed.
    double outputTimeAtOrAfter(double recordingTime) const;

private:
    std::vector<TimeRange> kept_;
    std::vector<double> outputStarts_;  // output time at which each kept range begins
    double duration_ = 0;
    bool identity_ = true;
};

}  // namespace vantile
