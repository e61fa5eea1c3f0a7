#pragma once

#include "model/RecordingProject.h"
#include "model/SpeedRegion.h"
#include "model/TimeRange.h"

#include <optional>
#include <vector>

namespace vantile {

// A stretch of the recording that plays in the output, at one speed.
struct PlayedRange {
    TimeRange range;
    double speed = 1;

    double outputLength() const { return range.length() / speed; }

    bool operator==(const PlayedRange&) const = default;
};

// The one mapping between output time (the finished movie) and recording time: the kept
// ranges of the recording played back to back, each at its speed. Preview, export, cursor
// and ripples all ask it.
class OutputTimeline {
public:
    // Kept = the trim (or the whole recording) minus the cuts, clipped to [0, duration]; the
    // speed regions then divide the kept ranges (cuts win over them).
    OutputTimeline(double recordingDuration, const std::optional<TimeRange>& trim, const std::vector<TimeRange>& cuts,
                   const std::vector<SpeedRegion>& speedRegions = {});
    explicit OutputTimeline(const RecordingProject& project);

    // The kept ranges in order, split where the speed changes.
    const std::vector<PlayedRange>& playedRanges() const { return played_; }
    // Their recording stretches.
    std::vector<TimeRange> keptRanges() const;
    // The output movie's length: the sum of the played ranges' output lengths.
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
    // The played range that holds `recordingTime`; nothing where it was removed.
    std::optional<PlayedRange> playedRangeAt(double recordingTime) const;
    // Output time at which played range `index` begins (the duration for one past the last).
    double outputStart(std::size_t index) const;

private:
    std::vector<PlayedRange> played_;
    std::vector<double> outputStarts_;  // output time at which each played range begins
    double duration_ = 0;
    bool identity_ = true;
};

}  // namespace vantile
