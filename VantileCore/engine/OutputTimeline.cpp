#include "engine/OutputTimeline.h"

#include <algorithm>

namespace vantile {

namespace {

std::vector<TimeRange> keptStretches(double total, const std::optional<TimeRange>& trim, const std::vector<TimeRange>& cuts)
{
    TimeRange whole{0, total};
    if (trim) whole = {std::clamp(trim->start, 0.0, total), std::clamp(trim->end, 0.0, total)};
    std::vector<TimeRange> removed = cuts;
    std::sort(removed.begin(), removed.end(), [](const TimeRange& a, const TimeRange& b) { return a.start < b.start; });
    std::vector<TimeRange> kept;
    double cursor = whole.start;
    for (const TimeRange& cut : removed) {
        if (!(cut.start < cut.end)) continue;
        const double until = std::min(cut.start, whole.end);
        if (cursor < until) kept.push_back({cursor, until});
        cursor = std::max(cursor, cut.end);
    }
    if (cursor < whole.end) kept.push_back({cursor, whole.end});
    return kept;
}

// Splits each kept stretch where a speed region begins or ends inside it.
std::vector<PlayedRange> withSpeeds(const std::vector<TimeRange>& kept, std::vector<SpeedRegion> regions)
{
    std::sort(regions.begin(), regions.end(), [](const SpeedRegion& a, const SpeedRegion& b) { return a.start < b.start; });
    std::vector<PlayedRange> played;
    for (const TimeRange& stretch : kept) {
        double cursor = stretch.start;
        for (const SpeedRegion& region : regions) {
            if (region.end <= cursor || !(region.start < region.end)) continue;
            if (region.start >= stretch.end) break;
            if (cursor < region.start) played.push_back({{cursor, region.start}, 1});
            const double from = std::max(cursor, region.start);
            const double until = std::min(stretch.end, region.end);
            if (from < until) played.push_back({{from, until}, region.speed});
            cursor = std::max(cursor, until);
        }
        if (cursor < stretch.end) played.push_back({{cursor, stretch.end}, 1});
    }
    return played;
}

}  // namespace

OutputTimeline::OutputTimeline(double recordingDuration, const std::optional<TimeRange>& trim,
                               const std::vector<TimeRange>& cuts, const std::vector<SpeedRegion>& speedRegions)
{
    const double total = std::max(recordingDuration, 0.0);
    played_ = withSpeeds(keptStretches(total, trim, cuts), speedRegions);
    outputStarts_.reserve(played_.size());
    bool everyAtOwnSpeed = true;
    for (const PlayedRange& piece : played_) {
        outputStarts_.push_back(duration_);
        duration_ += piece.outputLength();
        everyAtOwnSpeed = everyAtOwnSpeed && piece.speed == 1;
    }
    identity_ = everyAtOwnSpeed && played_.size() == 1 && played_.front().range.start == 0 &&
                played_.front().range.end == total;
    if (played_.empty()) identity_ = total == 0;
}

OutputTimeline::OutputTimeline(const RecordingProject& project)
    : OutputTimeline(project.duration, project.trim, project.cuts, project.speedRegions)
{
}

std::vector<TimeRange> OutputTimeline::keptRanges() const
{
    std::vector<TimeRange> ranges;
    for (const PlayedRange& piece : played_) {
        if (!ranges.empty() && ranges.back().end == piece.range.start) {
            ranges.back().end = piece.range.end;
        } else {
            ranges.push_back(piece.range);
        }
    }
    return ranges;
}

double OutputTimeline::outputStart(std::size_t index) const
{
    return index < outputStarts_.size() ? outputStarts_[index] : duration_;
}

std::optional<PlayedRange> OutputTimeline::playedRangeAt(double recordingTime) const
{
    const auto found = std::upper_bound(played_.begin(), played_.end(), recordingTime,
                                        [](double time, const PlayedRange& piece) { return time < piece.range.end; });
    if (found == played_.end() || recordingTime < found->range.start) return std::nullopt;
    return *found;
}

double OutputTimeline::recordingTime(double outputTime) const
{
    if (identity_) return outputTime;
    if (played_.empty()) return 0;
    if (outputTime <= 0) return played_.front().range.start;
    if (outputTime >= duration_) return played_.back().range.end;
    // The last range that begins at or before outputTime.
    const auto next = std::upper_bound(outputStarts_.begin(), outputStarts_.end(), outputTime);
    const auto index = static_cast<std::size_t>(next - outputStarts_.begin()) - 1;
    const PlayedRange& piece = played_[index];
    return std::min(piece.range.start + (outputTime - outputStarts_[index]) * piece.speed, piece.range.end);
}

std::optional<double> OutputTimeline::outputTime(double recordingTime) const
{
    if (identity_) return recordingTime;
    // The first range that ends after recordingTime; a range's end belongs to it only when it is the last.
    const auto found = std::upper_bound(played_.begin(), played_.end(), recordingTime,
                                        [](double time, const PlayedRange& piece) { return time < piece.range.end; });
    if (found != played_.end() && recordingTime >= found->range.start) {
        const auto index = static_cast<std::size_t>(found - played_.begin());
        return std::min(outputStarts_[index] + (recordingTime - found->range.start) / found->speed,
                        outputStart(index + 1));
    }
    if (!played_.empty() && recordingTime == played_.back().range.end) return duration_;
    return std::nullopt;
}

double OutputTimeline::outputTimeAtOrAfter(double recordingTime) const
{
    if (const auto mapped = outputTime(recordingTime)) return *mapped;
    const auto found = std::upper_bound(played_.begin(), played_.end(), recordingTime,
                                        [](double time, const PlayedRange& piece) { return time < piece.range.end; });
    if (found == played_.end()) return duration_;
    return outputStarts_[static_cast<std::size_t>(found - played_.begin())];
}

}  // namespace vantile
