#include "engine/OutputTimeline.h"

#include <algorithm>

namespace vantile {

OutputTimeline::OutputTimeline(double recordingDuration, const std::optional<TimeRange>& trim,
                               const std::vector<TimeRange>& cuts)
{
    const double total = std::max(recordingDuration, 0.0);
    TimeRange whole{0, total};
    if (trim) whole = {std::clamp(trim->start, 0.0, total), std::clamp(trim->end, 0.0, total)};

    std::vector<TimeRange> removed = cuts;
    std::sort(removed.begin(), removed.end(), [](const TimeRange& a, const TimeRange& b) { return a.start < b.start; });
    double cursor = whole.start;
    for (const TimeRange& cut : removed) {
        if (!(cut.start < cut.end)) continue;
        const double until = std::min(cut.start, whole.end);
        if (cursor < until) kept_.push_back({cursor, until});
        cursor = std::max(cursor, cut.end);
    }
    if (cursor < whole.end) kept_.push_back({cursor, whole.end});

    outputStarts_.reserve(kept_.size());
    for (const TimeRange& range : kept_) {
        outputStarts_.push_back(duration_);
        duration_ += range.length();
    }
    identity_ = kept_.size() == 1 && kept_.front().start == 0 && kept_.front().end == total;
    if (kept_.empty()) identity_ = total == 0;
}

OutputTimeline::OutputTimeline(const RecordingProject& project)
    : OutputTimeline(project.duration, project.trim, project.cuts)
{
}

double OutputTimeline::recordingTime(double outputTime) const
{
    if (identity_) return outputTime;
    if (kept_.empty()) return 0;
    if (outputTime <= 0) return kept_.front().start;
    if (outputTime >= duration_) return kept_.back().end;
    // The last range that begins at or before outputTime.
    const auto next = std::upper_bound(outputStarts_.begin(), outputStarts_.end(), outputTime);
    const auto index = static_cast<std::size_t>(next - outputStarts_.begin()) - 1;
    const TimeRange& range = kept_[index];
    return std::min(range.start + (outputTime - outputStarts_[index]), range.end);
}

std::optional<double> OutputTimeline::outputTime(double recordingTime) const
{
    if (identity_) return recordingTime;
    // The first range that ends after recordingTime; a range's end belongs to it only when it is the last.
    const auto found = std::upper_bound(kept_.begin(), kept_.end(), recordingTime,
                                        [](double time, const TimeRange& range) { return time < range.end; });
    if (found != kept_.end() && recordingTime >= found->start) {
        const auto index = static_cast<std::size_t>(found - kept_.begin());
        return outputStarts_[index] + (recordingTime - found->start);
    }
    if (!kept_.empty() && recordingTime == kept_.back().end) return duration_;
    return std::nullopt;
}

double OutputTimeline::outputTimeAtOrAfter(double recordingTime) const
{
    if (const auto mapped = outputTime(recordingTime)) return *mapped;
    const auto found = std::upper_bound(kept_.begin(), kept_.end(), recordingTime,
                                        [](double time, const TimeRange& range) { return time < range.end; });
    if (found == kept_.end()) return duration_;
    return outputStarts_[static_cast<std::size_t>(found - kept_.begin())];
}

}  // namespace vantile
